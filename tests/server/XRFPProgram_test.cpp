// The built program, started as a separate process by an independent client
// written in Python (tests/server/xrfp_peer.py), which also makes the login's
// RSA cipher texts with its own implementation.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

namespace fs = std::filesystem;

TEST(XRFPProgram, ServesAnOutsideClient)
{
    fs::path dir = fs::temp_directory_path() / ("kvd_xrfpd_program_" + std::to_string(std::random_device{}()));
    fs::create_directories(dir);
    std::string strPython = fs::exists("/usr/bin/python3") ? "/usr/bin/python3" : "python3";
    std::string strCommand = strPython + " '" XRFP_PYTHON_PEER "' '" XRFPD_PROGRAM "' '" + dir.string() + "'";
    EXPECT_EQ(std::system(strCommand.c_str()), 0) << strCommand << "\nlogs in " << dir;
    if (!HasFailure())
        fs::remove_all(dir);
}
