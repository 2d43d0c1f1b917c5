// xrfpd: the remote file server of the KVDbase client. Serves files below
// each user's root over the library's remote file protocol until SIGINT or
// SIGTERM; "xrfpd adduser" maintains the users file. See docs/server.md.

#include "XRFPFileSystem.h"
#include "XRFPLog.h"
#include "XRFPServer.h"
#include "XRFPSettings.h"
#include "XRFPUsers.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <pthread.h>
#include <string>
#include <vector>

namespace {

// The password is never an argument, where every user of the machine could
// read it: it is the first line of a file or of standard input.
int AddUser(const std::vector<std::string>& vecArgs)
{
    std::string strUsersFile = "xrfpd.users", strPasswordFile, strPassword;
    std::vector<std::string> vecPositional;
    for (size_t i = 0; i < vecArgs.size(); ++i) {
        if ((vecArgs[i] == "--users" || vecArgs[i] == "--password-file") && i + 1 < vecArgs.size()) {
            (vecArgs[i] == "--users" ? strUsersFile : strPasswordFile) = vecArgs[i + 1];
            ++i;
        } else {
            vecPositional.push_back(vecArgs[i]);
        }
    }
    if (vecPositional.size() != 2) {
        std::fputs(XfnRFPUsage(), stderr);
        return 2;
    }
    std::ifstream file;
    if (!strPasswordFile.empty())
        file.open(strPasswordFile);
    std::istream& in = strPasswordFile.empty() ? std::cin : file;
    if (!std::getline(in, strPassword)) {
        std::fprintf(stderr, "xrfpd: no password in %s\n",
                     strPasswordFile.empty() ? "standard input" : strPasswordFile.c_str());
        return 2;
    }
    if (!strPassword.empty() && strPassword.back() == '\r')
        strPassword.pop_back();
    std::string strError;
    if (!XfnRFPAddUserToFile(strUsersFile, vecPositional[0], strPassword, vecPositional[1], strError)) {
        std::fprintf(stderr, "xrfpd: %s\n", strError.c_str());
        return 1;
    }
    std::fprintf(stderr, "xrfpd: user %s added to %s\n", vecPositional[0].c_str(), strUsersFile.c_str());
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> vecArgs(argv + 1, argv + argc);
    if (!vecArgs.empty() && (vecArgs[0] == "--help" || vecArgs[0] == "-h")) {
        std::fputs(XfnRFPUsage(), stdout);
        return 0;
    }
    if (!vecArgs.empty() && vecArgs[0] == "--version") {
        std::printf("xrfpd %s (KVDbase)\n", XRFPD_VERSION);
        return 0;
    }
    if (!vecArgs.empty() && vecArgs[0] == "adduser")
        return AddUser(std::vector<std::string>(vecArgs.begin() + 1, vecArgs.end()));

    tagXRFPSettings settings;
    std::string strError;
    if (!XfnRFPParseArguments(vecArgs, settings, strError)) {
        std::fprintf(stderr, "xrfpd: %s\n%s", strError.c_str(), XfnRFPUsage());
        return 2;
    }
    // A server for remote clients has no use for the superuser's rights, and
    // every mistake in it would have them.
    if (XfnRFPRunsAsRoot() && !settings.bAllowRoot) {
        std::fprintf(stderr, "xrfpd: refusing to run as root; run it as an unprivileged user (the systemd unit "
                             "makes one), or give --allow-root\n");
        return 2;
    }
    // The signals that stop the server are taken by this thread alone.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    XRFPServer server(settings);
    if (!server.Start(strError)) {
        XfnRFPLog("", "cannot start: %s", strError.c_str());
        return 1;
    }
    int nSignal = 0;
    sigwait(&signals, &nSignal);
    XfnRFPLog("", "signal %d: stopping", nSignal);
    server.Stop();
    return 0;
}
