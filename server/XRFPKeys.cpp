#include "XRFPKeys.h"

#include "KVDbase/crypto/XRSA.h"

#include <crypto++/filters.h>
#include <crypto++/hex.h>
#include <crypto++/osrng.h>
#include <crypto++/rsa.h>

#include "XRFPFileSystem.h"
#include "XRFPLog.h"

#include <cerrno>
#include <cstring>

void XfnRFPGenerateKey(int nBits, std::string& strPrivate, std::string& strPublic)
{
    CryptoPP::AutoSeededRandomPool rng;
    CryptoPP::byte seed[64];
    rng.GenerateBlock(seed, sizeof seed);
    XString strPrivateKey, strPublicKey;
    XfnGenerateRSAKey(static_cast<DWORD>(nBits), strPrivateKey, strPublicKey,
                      XString(reinterpret_cast<const char*>(seed), static_cast<int>(sizeof seed)));
    strPrivate = static_cast<const char*>(strPrivateKey);
    strPublic = static_cast<const char*>(strPublicKey);
}

std::string XfnRFPPublicKeyOf(const std::string& strPrivate)
{
    CryptoPP::HexDecoder decoder;
    decoder.Put(reinterpret_cast<const CryptoPP::byte*>(strPrivate.data()), strPrivate.size());
    decoder.MessageEnd();
    CryptoPP::RSA::PrivateKey key;
    key.Load(decoder);
    CryptoPP::RSA::PublicKey pub(key);
    std::string strPublic;
    CryptoPP::HexEncoder encoder(new CryptoPP::StringSink(strPublic), true);
    pub.Save(encoder);
    encoder.MessageEnd();
    return strPublic;
}

bool XfnRFPLoadOrCreateKey(const std::string& strFile, int nBits, std::string& strPrivate, std::string& strPublic,
                           bool& bCreated, std::string& strError)
{
    bCreated = false;
    std::string strText;
    int nError = XfnRFPReadPrivateFile(strFile, 0077, strText, strError);
    if (nError == 0) {
        strPrivate = strText;
        while (!strPrivate.empty() && (strPrivate.back() == '\n' || strPrivate.back() == '\r'))
            strPrivate.pop_back();
        try {
            strPublic = XfnRFPPublicKeyOf(strPrivate);
        } catch (const std::exception& e) {
            strError = "key file " + strFile + " holds no private key: " + e.what();
            return false;
        }
        return true;
    }
    if (nError != ENOENT)
        return false;
    XfnRFPGenerateKey(nBits, strPrivate, strPublic);
    if (int nWrite = XfnRFPWriteFileAtomically(strFile, strPrivate + "\n")) {
        strError = "cannot write key file " + strFile + ": " + std::strerror(nWrite);
        return false;
    }
    bCreated = true;
    return true;
}

void XRFPKeyRing::Start(const tagXRFPKey& first, const tagXRFPKeyRotation& rotationNew)
{
    Stop();
    std::lock_guard<std::mutex> guard(lock);
    rotation = rotationNew;
    pCurrent = std::make_shared<const tagXRFPKey>(first);
    nCurrentUses = 0;
    tCurrentSince = std::chrono::steady_clock::now();
    queueReady.clear();
    bStopping = false;
    if (rotation.nUses > 0)
        generator = std::thread(&XRFPKeyRing::Generate, this);
}

void XRFPKeyRing::Stop()
{
    {
        std::lock_guard<std::mutex> guard(lock);
        bStopping = true;
    }
    changed.notify_all();
    if (generator.joinable())
        generator.join();
}

bool XRFPKeyRing::Spent(std::chrono::steady_clock::time_point tNow) const
{
    return rotation.nUses > 0 && (nCurrentUses >= rotation.nUses ||
                                  tNow - tCurrentSince >= std::chrono::seconds(rotation.nLifetimeSeconds));
}

bool XRFPKeyRing::WantNext(std::chrono::steady_clock::time_point tNow) const
{
    // The next key is made once the current one is half used, so that it is
    // ready when needed, and no sooner: a quiet server makes no keys.
    return queueReady.empty() && (2 * nCurrentUses >= rotation.nUses ||
                                  2 * (tNow - tCurrentSince) >= std::chrono::seconds(rotation.nLifetimeSeconds));
}

XRFPKeyPtr XRFPKeyRing::ForGreeting()
{
    std::unique_lock<std::mutex> guard(lock);
    while (!bStopping && Spent(std::chrono::steady_clock::now())) {
        if (!queueReady.empty()) {
            pCurrent = queueReady.front();
            queueReady.pop_front();
            nCurrentUses = 0;
            tCurrentSince = std::chrono::steady_clock::now();
            break;
        }
        changed.notify_all();
        changed.wait(guard);
    }
    ++nCurrentUses;
    if (WantNext(std::chrono::steady_clock::now()))
        changed.notify_all();
    return pCurrent;
}

XRFPKeyPtr XRFPKeyRing::Current()
{
    std::lock_guard<std::mutex> guard(lock);
    return pCurrent;
}

void XRFPKeyRing::Generate()
{
    std::unique_lock<std::mutex> guard(lock);
    while (!bStopping) {
        if (!WantNext(std::chrono::steady_clock::now())) {
            // Wakes by itself too, as a key also ages out with no greeting.
            changed.wait_for(guard, std::chrono::seconds(1));
            continue;
        }
        int nBits = rotation.nBits;
        guard.unlock();
        auto pKey = std::make_shared<tagXRFPKey>();
        try {
            XfnRFPGenerateKey(nBits, pKey->strPrivate, pKey->strPublic);
        } catch (const std::exception& e) {
            // Greetings go on with the current key until a new one is made.
            XfnRFPLog("", "cannot make a greeting key (%s); trying again", e.what());
            std::this_thread::sleep_for(std::chrono::seconds(1));
            guard.lock();
            continue;
        }
        guard.lock();
        queueReady.push_back(std::move(pKey));
        changed.notify_all();
    }
}
