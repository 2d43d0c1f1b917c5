// XAtomic: the atomic counter operations the library's shared objects use
// (string reference counts, pool counters). Each is one full-barrier atomic
// instruction on a 32-bit counter and returns the new value.
#pragma once

#include <cstdint>

inline int32_t XfnInterlockedIncrement(volatile int32_t* p)
{
    return __atomic_add_fetch(p, 1, __ATOMIC_ACQ_REL);
}

inline int32_t XfnInterlockedDecrement(volatile int32_t* p)
{
    return __atomic_sub_fetch(p, 1, __ATOMIC_ACQ_REL);
}

inline int32_t XfnInterlockedExchange(volatile int32_t* p, int32_t nValue)
{
    return __atomic_exchange_n(p, nValue, __ATOMIC_ACQ_REL);
}

inline int32_t XfnAtomicLoad(const volatile int32_t* p)
{
    return __atomic_load_n(p, __ATOMIC_ACQUIRE);
}
