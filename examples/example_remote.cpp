// Remote files: starts the project's server, xrfpd, as a child process with a
// throwaway root and user on a free port, then writes, reads back, lists and
// removes a file through XFile on a remote path, as any application would.
// The server is stopped and its temporary root removed at the end.
#include "KVDbase/KVDbase.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <random>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ; // handed on to the server

namespace {

int g_nFailures = 0;

void Check(bool bOk, const char* pszWhat)
{
    std::printf("  [%s] %s\n", bOk ? " ok " : "FAIL", pszWhat);
    if (!bOk)
        ++g_nFailures;
}

// The server beside the example in the build tree, beside it once installed,
// or else the one on the PATH.
std::string FindServer()
{
    namespace fs = std::filesystem;
    fs::path here(static_cast<const char*>(XfnGetModulePath(nullptr)));
    for (const char* pszCandidate : {"../server/xrfpd", "xrfpd"})
        if (fs::exists(here / pszCandidate))
            return fs::canonical(here / pszCandidate).string();
    return "xrfpd";
}

} // namespace

int main()
{
    namespace fs = std::filesystem;
    fs::path dir = fs::temp_directory_path() / ("kvd_example_remote_" + std::to_string(std::random_device{}()));
    fs::create_directories(dir);
    std::string strServer = FindServer(), strPortFile = (dir / "port").string(), strLog = (dir / "xrfpd.log").string();
    std::printf("Remote files (server %s)\n", strServer.c_str());

    // The server's log goes to a file, shown only when something fails.
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, strLog.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    // The server will not run as root unless told; CI runs the examples so.
    const char* apszArgs[] = {strServer.c_str(), "--throwaway", "--port", "0", "--port-file", strPortFile.c_str(),
                              "--key-bits", "1024", geteuid() == 0 ? "--allow-root" : nullptr, nullptr};
    pid_t pidServer = 0;
    int nSpawn = posix_spawnp(&pidServer, strServer.c_str(), &actions, nullptr, const_cast<char**>(apszArgs), environ);
    posix_spawn_file_actions_destroy(&actions);
    Check(nSpawn == 0, "xrfpd --throwaway started");
    int nPort = 0; // the file appears once the server listens
    for (int i = 0; nSpawn == 0 && nPort == 0 && i < 200; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
        std::ifstream(strPortFile) >> nPort;
    }
    Check(nPort > 0, "the server wrote down the port it listens on");

    if (nPort > 0) {
        XFile::XRFInit();
        std::string strPath = "xrfp:\\\\demo:demo@127.0.0.1:" + std::to_string(nPort) + "\\scene.hdr";
        const char szText[] = "samples = 512\nlines = 512\nbands = 3\n";
        try {
            XFile file(strPath.c_str(), XFile::flagCreate | XFile::flagWrite);
            file.Write(szText, sizeof szText - 1);
            std::printf("  wrote %d bytes to %s\n", static_cast<int>(file.GetLength()),
                        static_cast<const char*>(file.GetRFName()));
            file.Close();

            char szBack[sizeof szText] = {};
            XFile back(strPath.c_str(), XFile::flagRead);
            back.Seek(14, XFile::begin);
            unsigned int nRead = back.Read(szBack, sizeof szBack);
            back.Close();
            Check(nRead == sizeof szText - 15 && std::strcmp(szBack, szText + 14) == 0,
                  "a seek and a read on the server give the bytes written");

            XFileStatus status{};
            Check(XFile::GetStatus(strPath.c_str(), status) && status.nSize == sizeof szText - 1,
                  "the status of the remote file has its size");
            XFile::Remove(strPath.c_str());
            Check(!XFile::GetStatus(strPath.c_str(), status), "the remote file is removed");
        } catch (const std::exception& e) { // the server is stopped below whatever happens
            std::printf("  failed: %s\n", e.what());
            Check(false, "remote file operations");
        }
        XFile::XRFClean();
    }
    int nStatus = -1;
    if (nSpawn == 0) {
        kill(pidServer, SIGTERM);
        waitpid(pidServer, &nStatus, 0);
    }
    Check(nSpawn == 0 && WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0, "the server stopped cleanly on SIGTERM");
    if (g_nFailures != 0) {
        std::ifstream log(strLog);
        for (std::string strLine; std::getline(log, strLine);)
            std::printf("  xrfpd: %s\n", strLine.c_str());
    }
    std::error_code ec;
    fs::remove_all(dir, ec);
    std::printf("%s\n", g_nFailures == 0 ? "All checks passed" : "Some checks FAILED");
    return g_nFailures == 0 ? 0 : 1;
}
