// A scratch directory for the tests of the files folder, removed with
// everything in it when the test ends, and the helpers those tests share.
#pragma once

#include "KVDbase/core/XException.h"
#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/core/XString.h"
#include "platform/XSysFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <utility>

class XFilesTestDir {
public:
    XFilesTestDir()
    {
        std::random_device rd;
        path = std::filesystem::temp_directory_path() / ("kvd-files-" + std::to_string(rd()) + std::to_string(rd()));
        std::filesystem::create_directories(path);
    }
    ~XFilesTestDir()
    {
        std::error_code ec;
        std::filesystem::permissions(path, std::filesystem::perms::owner_all, std::filesystem::perm_options::add, ec);
        std::filesystem::remove_all(path, ec);
    }

    // The full name of an entry of the directory.
    std::string operator()(const std::string& name) const { return (path / name).string(); }

    // Writes a file with the given bytes.
    std::string Make(const std::string& name, const std::string& content) const
    {
        std::string full = (*this)(name);
        std::ofstream(full, std::ios::binary) << content;
        return full;
    }

    static std::string Slurp(const std::string& full)
    {
        std::ifstream in(full, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    std::filesystem::path path;
};

// The tests that need a scratch directory.
class XFilesTest : public ::testing::Test {
protected:
    XFilesTestDir dir;
};

// Clears injected faults however the test ends.
struct FaultScope {
    ~FaultScope() { XfnSysClearFaults(); }
};

// The code of the XFileException that body throws, and the name it reports.
template <class F> DWORD ThrownCode(F body, XString* pName = nullptr)
{
    try {
        body();
    } catch (const XFileException& e) {
        if (pName != nullptr)
            *pName = e.GetFileName();
        return e.GetErrCode();
    }
    ADD_FAILURE() << "no XFileException";
    return 0;
}

// The cause and system error of the XFileErrorException that body throws.
template <class F> std::pair<int, LONG> ThrownCause(F body, XString* pName = nullptr)
{
    try {
        body();
    } catch (const XFileErrorException& e) {
        if (pName != nullptr)
            *pName = e.strFileName;
        return {e.nCause, e.nOsError};
    }
    ADD_FAILURE() << "no XFileErrorException";
    return {-1, -1};
}
