// Interlocked operations on 32-bit values, each a full barrier as on Windows.
#pragma once

#include "WinTypes.h"

extern "C" {

// Returns the incremented value.
inline LONG InterlockedIncrement(LONG volatile* Addend)
{
    return __atomic_add_fetch(Addend, 1, __ATOMIC_SEQ_CST);
}

// Returns the decremented value.
inline LONG InterlockedDecrement(LONG volatile* Addend)
{
    return __atomic_sub_fetch(Addend, 1, __ATOMIC_SEQ_CST);
}

// Returns the value before the exchange.
inline LONG InterlockedExchange(LONG volatile* Target, LONG Value)
{
    return __atomic_exchange_n(Target, Value, __ATOMIC_SEQ_CST);
}

// Stores Exchange if *Destination equals Comparand; returns the value found either way.
inline LONG InterlockedCompareExchange(LONG volatile* Destination, LONG Exchange, LONG Comparand)
{
    __atomic_compare_exchange_n(Destination, &Comparand, Exchange, false, __ATOMIC_SEQ_CST,
        __ATOMIC_SEQ_CST);
    return Comparand;
}

// Returns the value before the addition.
inline LONG InterlockedExchangeAdd(LONG volatile* Addend, LONG Value)
{
    return __atomic_fetch_add(Addend, Value, __ATOMIC_SEQ_CST);
}

}
