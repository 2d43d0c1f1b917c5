// A ceiling on something scarce that many threads draw from: bytes of a
// user's memory, the server's descriptors. A charge takes from a budget and
// gives back when it goes, so an early return or an exception cannot leak
// it. Budgets are thread-safe; a charge belongs to one owner at a time.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>

class XRFPBudget {
public:
    explicit XRFPBudget(size_t nLimit) : nLimit(nLimit) {}
    // False, taking nothing, when n more would pass the ceiling.
    bool Take(size_t n)
    {
        size_t nOld = nUsed.load();
        do {
            if (n > nLimit || nOld > nLimit - n)
                return false;
        } while (!nUsed.compare_exchange_weak(nOld, nOld + n));
        return true;
    }
    void Give(size_t n) { nUsed -= n; }
    size_t Used() const { return nUsed; }
    size_t Limit() const { return nLimit; }

private:
    std::atomic<size_t> nUsed{0};
    const size_t nLimit;
};

typedef std::shared_ptr<XRFPBudget> XRFPBudgetPtr;

class XRFPCharge {
public:
    XRFPCharge() = default;
    ~XRFPCharge() { Release(); }
    XRFPCharge(XRFPCharge&& other) noexcept : pBudget(std::move(other.pBudget)), nAmount(other.nAmount)
    {
        other.nAmount = 0;
    }
    XRFPCharge& operator=(XRFPCharge&& other) noexcept
    {
        if (this != &other) {
            Release();
            pBudget = std::move(other.pBudget);
            nAmount = other.nAmount;
            other.nAmount = 0;
        }
        return *this;
    }
    XRFPCharge(const XRFPCharge&) = delete;
    XRFPCharge& operator=(const XRFPCharge&) = delete;

    // Adds n to what this charge holds; false (holding what it held) when
    // the budget has no room.
    bool Take(const XRFPBudgetPtr& pFrom, size_t n)
    {
        if (pBudget && pBudget != pFrom)
            Release();
        if (!pFrom->Take(n))
            return false;
        pBudget = pFrom;
        nAmount += n;
        return true;
    }
    void Release()
    {
        if (pBudget && nAmount)
            pBudget->Give(nAmount);
        nAmount = 0;
    }

private:
    XRFPBudgetPtr pBudget;
    size_t nAmount = 0;
};
