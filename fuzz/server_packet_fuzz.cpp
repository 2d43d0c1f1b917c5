// Feeds arbitrary bytes to the file server as a client's byte stream. The
// first byte chooses the depth: even values exercise only the request reader
// and the path splitter; odd values run a whole session that has already
// logged in (a fixed, valid login is put in front of the input), so every
// command handler, the path resolution and the handle tables see the rest.
// A session must end by itself with its connection closed, and nothing may
// appear outside the user's root, where a sentinel directory is watched.
//
// With KVD_FUZZ_SEED_DIR set, initialisation writes a stream of every kind
// of request there, as the corpus to start from.
#include "XRFPErrors.h"
#include "XRFPLog.h"
#include "XRFPPath.h"
#include "XRFPRequest.h"
#include "XRFPSession.h"

#include "KVDbase/crypto/XRSA.h"

#include <crypto++/hex.h>
#include <crypto++/pwdbased.h>
#include <crypto++/sha.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct tagFuzzServer {
    fs::path dir;
    fs::path root;
    fs::path sentinel;
    tagXRFPContext context;
    std::vector<BYTE> vecLogin;
};

void Discard(const std::string&) {}

// A users file whose one hash takes a single iteration, so that the login
// costs little more than its two RSA decryptions.
std::string CheapHash(const std::string& strPassword)
{
    const std::string strSalt = "fuzzsalt";
    CryptoPP::byte derived[32];
    CryptoPP::PKCS5_PBKDF2_HMAC<CryptoPP::SHA256>().DeriveKey(
        derived, sizeof derived, 0, reinterpret_cast<const CryptoPP::byte*>(strPassword.data()), strPassword.size(),
        reinterpret_cast<const CryptoPP::byte*>(strSalt.data()), strSalt.size(), 1);
    std::string strHex;
    CryptoPP::StringSource(derived, sizeof derived, true, new CryptoPP::HexEncoder(new CryptoPP::StringSink(strHex)));
    return "pbkdf2-sha256$1$" + std::string("66757A7A73616C74") + "$" + strHex;
}

tagFuzzServer& Server()
{
    static tagFuzzServer* pServer = [] {
        auto* p = new tagFuzzServer;
        // Memory-backed when the machine allows it, since sessions flush files.
        std::error_code ec;
        for (const fs::path& base : {fs::path("/dev/shm"), fs::temp_directory_path()}) {
            p->dir = base / ("xrfpd_fuzz_" + std::to_string(std::random_device{}()));
            p->root = p->dir / "root";
            p->sentinel = p->dir / "outside";
            if (fs::create_directories(p->root, ec) && fs::create_directories(p->sentinel, ec))
                break;
        }
        std::ofstream(p->dir / "users") << "fuzz\t" << CheapHash("pw") << "\t" << p->root.string() << "\n";
        fs::permissions(p->dir / "users", fs::perms::owner_read | fs::perms::owner_write);
        std::string strError;
        if (!p->context.users.Load((p->dir / "users").string(), strError)) {
            std::fprintf(stderr, "fuzz set-up: %s\n", strError.c_str());
            std::abort();
        }
        XString strPrivate, strPublic;
        XfnGenerateRSAKey(512, strPrivate, strPublic, "fuzz key");  // small: decrypted twice a run
        tagXRFPKeyRotation rotation;
        rotation.nUses = 0;  // one key, which the login put in front of every input was made for
        p->context.keys.Start(tagXRFPKey{static_cast<const char*>(strPrivate), static_cast<const char*>(strPublic)},
                              rotation);
        p->context.settings.nMaxHandles = 16;
        p->context.settings.nMaxListItems = 64;
        p->context.settings.nMaxBlock = 65536;
        XfnRFBuildLoginRequest(p->vecLogin, tagXRFLoginRequest{std::string(XfnRSAEncryptStringByKey(strPublic, "fuzz")),
                                                               std::string(XfnRSAEncryptStringByKey(strPublic, "pw"))});
        XfnRFPSetLogSink(&Discard);
        std::atexit([] {
            std::error_code ec;
            fs::remove_all(Server().dir, ec);
        });
        return p;
    }();
    return *pServer;
}

void RunReader(const uint8_t* pData, size_t nSize)
{
    XRFPMemoryStream stream(pData, nSize);
    tagXRFPLimits limits;
    limits.nMaxBlock = 65536;
    tagXRFPRequest req;
    std::string strWhy;
    std::vector<std::string> vecParts;
    while (XfnRFPReadRequest(stream, limits, req, strWhy) == XRFP_READ_OK) {
        if (!XfnRFPSplitPath(req.path.strPath, vecParts))
            continue;
        for (const std::string& strPart : vecParts)
            if (strPart.empty() || strPart == "." || strPart == ".." ||
                strPart.find_first_of("\\/:") != std::string::npos)
                std::abort();
        XfnRFPMatchPattern(req.path.strPath, req.move.strNewPath);
    }
}

void RunSession(const uint8_t* pData, size_t nSize)
{
    tagFuzzServer& server = Server();
    std::vector<BYTE> vecStream = server.vecLogin;
    vecStream.insert(vecStream.end(), pData, pData + nSize);
    XRFPMemoryStream stream(vecStream.data(), vecStream.size());
    long nLogins = server.context.nLogins;
    if (server.context.admission.Admit("fuzz") != XRFP_ADMIT_OK)
        std::abort();
    XRFPSession session(server.context, stream, "fuzz", "fuzz");
    session.Run();
    server.context.admission.Leave("fuzz", session.LoggedIn());
    if (server.context.nLogins != nLogins + 1 || server.context.nFailed != 0)
        std::abort();
    // Handles of this run go with it; the root is emptied when it grows.
    server.context.logins.Clear();
    if (!fs::is_empty(server.sentinel))
        std::abort();
    std::error_code ec;
    size_t nEntries = 0;
    for (auto it = fs::recursive_directory_iterator(server.root, ec); !ec && it != fs::end(it); it.increment(ec))
        ++nEntries;
    if (nEntries > 64) {
        for (auto& entry : fs::directory_iterator(server.root, ec)) {
            fs::permissions(entry.path(), fs::perms::owner_all, fs::perm_options::add, ec);
            fs::remove_all(entry.path(), ec);
        }
    }
}

void WriteSeeds(const char* pszDir)
{
    std::vector<BYTE> vecAll{1};
    std::vector<BYTE> v;
    XfnRFBuildCreateFileRequest(v, tagXRFCreateFileRequest{"dir\\a.txt", 0xC0000000u, 0, 2, 0});
    XfnRFBuildPathRequest(v, tagXRFPathRequest{XRF_CMD_CREATE_DIRECTORY, "dir", 0});
    XfnRFBuildCreateFileRequest(v, tagXRFCreateFileRequest{"dir\\a.txt", 0xC0000000u, 0, 2, 0});
    const BYTE data[4] = {'d', 'a', 't', 'a'};
    XfnRFBuildTransferRequest(v, XRF_CMD_WRITE_ANNOUNCE, tagXRFTransferRequest{0, 0x1000, 4});
    XfnRFBuildWriteDataRequest(v, tagXRFWriteDataRequest{0x1000, data, 4});
    XfnRFBuildTransferRequest(v, XRF_CMD_READ_FILE, tagXRFTransferRequest{0, 0x1000, 4});
    XfnRFBuildSetFilePointerRequest(v, tagXRFSetFilePointerRequest{0x1000, 2, -1, -1});
    XfnRFBuildSetFileTimeRequest(v, tagXRFSetFileTimeRequest{0x1000, {}, {1, 2}, {3, 4}});
    for (DWORD nCommand : {XRF_CMD_SET_END_OF_FILE, XRF_CMD_FLUSH_FILE_BUFFERS, XRF_CMD_GET_FILE_TIME,
                           XRF_CMD_GET_FILE_SIZE, XRF_CMD_CLOSE_HANDLE})
        XfnRFBuildHandleRequest(v, tagXRFHandleRequest{nCommand, 0x1000});
    XfnRFBuildPathRequest(v, tagXRFPathRequest{XRF_CMD_FIND_FIRST_FILE, "dir\\*.txt", 0});
    XfnRFBuildHandleRequest(v, tagXRFHandleRequest{XRF_CMD_FIND_NEXT_FILE, 0x1001});
    XfnRFBuildHandleRequest(v, tagXRFHandleRequest{XRF_CMD_FIND_CLOSE, 0x1001});
    XfnRFBuildPathRequest(v, tagXRFPathRequest{XRF_CMD_FIND_FILE_LIST, "", 1});
    XfnRFBuildRootListRequest(v);
    XfnRFBuildPathRequest(v, tagXRFPathRequest{XRF_CMD_GET_FILE_ATTRIBUTES, "dir\\..\\dir\\a.txt", 0});
    XfnRFBuildPathRequest(v, tagXRFPathRequest{XRF_CMD_SET_FILE_ATTRIBUTES, "dir\\a.txt", 1});
    XfnRFBuildMoveFileRequest(v, tagXRFMoveFileRequest{"dir\\a.txt", "b.txt"});
    XfnRFBuildPathRequest(v, tagXRFPathRequest{XRF_CMD_DELETE_FILE, "b.txt", 0});
    XfnRFBuildPathRequest(v, tagXRFPathRequest{XRF_CMD_REMOVE_DIRECTORY, "dir", 1});
    XfnRFBuildDataBlockHead(v, tagXRFDataBlockHead{4});
    v.insert(v.end(), data, data + 4);
    vecAll.insert(vecAll.end(), v.begin(), v.end());
    std::ofstream(std::string(pszDir) + "/seed-session", std::ios::binary)
        .write(reinterpret_cast<const char*>(vecAll.data()), static_cast<std::streamsize>(vecAll.size()));
    vecAll[0] = 0;
    std::ofstream(std::string(pszDir) + "/seed-reader", std::ios::binary)
        .write(reinterpret_cast<const char*>(vecAll.data()), static_cast<std::streamsize>(vecAll.size()));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    if (const char* pszSeeds = std::getenv("KVD_FUZZ_SEED_DIR"))
        WriteSeeds(pszSeeds);
    Server();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize == 0)
        return 0;
    if (pData[0] & 1)
        RunSession(pData + 1, nSize - 1);
    else
        RunReader(pData + 1, nSize - 1);
    return 0;
}
