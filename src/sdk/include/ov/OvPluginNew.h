// Constructing and ending objects in IOvMemAlloc memory:
//
//   OvDelayFX* pFX = OV::New<OvDelayFX>(in_pAllocator);   // null when out of memory
//   ...
//   OV::Delete(in_pAllocator, pFX);                        // destructor, then Free
//
// Constructors used this way must not throw.
#pragma once

#include <new>
#include <utility>

#include "ov/IOvMemAlloc.h"

namespace OV {

template <class T, class... Args>
T* New(IOvMemAlloc* in_pAllocator, Args&&... in_args)
{
    if (!in_pAllocator)
        return nullptr;
    void* pMemory = in_pAllocator->Malloc(sizeof(T));
    if (!pMemory)
        return nullptr;
    return new (pMemory) T(std::forward<Args>(in_args)...);
}

template <class T>
void Delete(IOvMemAlloc* in_pAllocator, T* in_pObject)
{
    if (!in_pObject || !in_pAllocator)
        return;
    in_pObject->~T();
    in_pAllocator->Free(in_pObject);
}

}  // namespace OV
