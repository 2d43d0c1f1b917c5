// XSysWatch: the back-off of a short watch before a sleep. On a small machine
// a sleep and its wake-up cost more than the hand-over a watch waits for, but
// on a busy one the awaited party comes late and watching only takes time
// from it. A watch that saw nothing sends the owner's next 2, 4, ... up to 256
// waits straight to sleep; one that found the machine loaded, the next 256.
// One object per thread (or per waiter); not thread-safe.
#pragma once

#include <algorithm>

struct XSysWatchBackoff {
    unsigned nSkip = 0;    // waits that sleep at once
    unsigned nMisses = 0;  // watches in a row that saw nothing

    // True when this wait is to sleep at once, without a watch.
    bool SkipWatch()
    {
        if (nSkip == 0)
            return false;
        --nSkip;
        return true;
    }
    // What the watch saw; bLoaded: a yield inside it gave away a whole turn.
    void Saw(bool bSeen, bool bLoaded = false)
    {
        nMisses = bSeen ? 0 : bLoaded ? 8u : std::min(nMisses + 1, 8u);
        nSkip = bSeen ? 0 : 1u << nMisses;
    }
};
