// The server's RSA keys. The key file holds a private key as the library's
// key text (hexadecimal DER), readable by the owner only; it is made on first
// start and gives the first greeting key.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

// A new pair of nBits, seeded from the system's random source.
void XfnRFPGenerateKey(int nBits, std::string& strPrivate, std::string& strPublic);
// The public key text of a private key text; throws on a malformed key.
std::string XfnRFPPublicKeyOf(const std::string& strPrivate);
// Reads the key file, or makes it when it does not exist (bCreated). False
// with strError when it cannot be read, written or parsed.
bool XfnRFPLoadOrCreateKey(const std::string& strFile, int nBits, std::string& strPrivate, std::string& strPublic,
                           bool& bCreated, std::string& strError);

// The greeting keys. A login is encrypted under the key of its own greeting,
// so a recorded login works only while that key is in use: each key greets
// at most a set number of connections and serves for a set time, and the
// next keys are made ahead on a thread of the ring's own. Thread-safe; Stop
// (or the destructor) joins the thread.

struct tagXRFPKey {
    std::string strPrivate;
    std::string strPublic;
};
typedef std::shared_ptr<const tagXRFPKey> XRFPKeyPtr;

struct tagXRFPKeyRotation {
    int nBits = 2048;          // of the keys made
    int nUses = 64;            // greetings per key; 0: the first key serves for ever
    int nLifetimeSeconds = 180;  // a key is replaced at least this often
};

class XRFPKeyRing {
public:
    XRFPKeyRing() = default;
    ~XRFPKeyRing() { Stop(); }
    XRFPKeyRing(const XRFPKeyRing&) = delete;
    XRFPKeyRing& operator=(const XRFPKeyRing&) = delete;

    // Begins with the key given (the key file's, so a start waits for no key
    // generation); later keys are made as rotation needs them.
    void Start(const tagXRFPKey& first, const tagXRFPKeyRotation& rotation);
    void Stop();
    // The key to greet a new connection with, counted as one use. Waits for
    // the next key when the current one is used up and none is ready.
    XRFPKeyPtr ForGreeting();
    XRFPKeyPtr Current();

private:
    bool Spent(std::chrono::steady_clock::time_point tNow) const;
    bool WantNext(std::chrono::steady_clock::time_point tNow) const;
    void Generate();

    tagXRFPKeyRotation rotation;
    std::mutex lock;
    std::condition_variable changed;
    XRFPKeyPtr pCurrent;
    int nCurrentUses = 0;
    std::chrono::steady_clock::time_point tCurrentSince;
    std::deque<XRFPKeyPtr> queueReady;
    bool bStopping = false;
    std::thread generator;
};
