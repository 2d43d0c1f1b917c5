// XCriticalSection: the library's one kind of lock, held for short stretches
// (a pool's free list, a thread-safe array, the connection pool). Not
// recursive; copy and move are refused. XCriticalSectionLock holds one for the
// lifetime of a scope.
#pragma once

#include <mutex>

class XCriticalSection {
public:
    XCriticalSection() = default;
    XCriticalSection(const XCriticalSection&) = delete;
    XCriticalSection& operator=(const XCriticalSection&) = delete;

    void Enter() { mutex.lock(); }
    void Leave() { mutex.unlock(); }
    bool TryEnter() { return mutex.try_lock(); }

private:
    std::mutex mutex;
};

class XCriticalSectionLock {
public:
    explicit XCriticalSectionLock(XCriticalSection& cs) : section(cs) { section.Enter(); }
    ~XCriticalSectionLock() { section.Leave(); }
    XCriticalSectionLock(const XCriticalSectionLock&) = delete;
    XCriticalSectionLock& operator=(const XCriticalSectionLock&) = delete;

private:
    XCriticalSection& section;
};
