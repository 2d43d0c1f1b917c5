// A scratch directory for the tests of the files folder, removed with
// everything in it when the test ends.
#pragma once

#include "KVDbase/core/XString.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

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
