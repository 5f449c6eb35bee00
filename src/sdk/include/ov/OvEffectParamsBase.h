// Clone, Init and Shutdown of a plug-in's parameter object, written once for
// every plug-in (CRTP). The parameter class derives from
// OvEffectParamsBase<itself>, keeps SetParam and SetAllParams, and provides
//
//   void MarkAllChanged();      // sets every change mark it has
//
// Clone copies the object into allocator memory and marks everything changed
// in the copy. Init with no block calls InitWithoutBlock, which marks
// everything changed; a class whose defaults must come back then hides it
// with its own InitWithoutBlock. Shutdown runs the destructor and frees.
//
// An effect whose changes need memory registers itself with
// SetChangePreparer; the parameter class calls PrepareForChange after storing
// such a value. The registration belongs to that effect: a copy starts
// without it and an assignment keeps the target's own.
#pragma once

#include <cstdint>

#include "ov/IOvChangePreparer.h"
#include "ov/IOvEffectParams.h"
#include "ov/OvAssert.h"
#include "ov/OvPluginNew.h"

template <class T_PARAMS>
class OvEffectParamsBase : public IOvEffectParams {
public:
    OvEffectParamsBase() = default;
    OvEffectParamsBase(const OvEffectParamsBase&) : IOvEffectParams() {}
    OvEffectParamsBase& operator=(const OvEffectParamsBase&) { return *this; }

    IOvEffectParams* Clone(IOvMemAlloc* in_pAllocator) override
    {
        OV_ASSERT(in_pAllocator != NULL);
        T_PARAMS* pClone = OV::New<T_PARAMS>(in_pAllocator, Self());
        if (pClone)
            pClone->MarkAllChanged();
        return pClone;
    }

    OvResult Init(IOvMemAlloc* in_pAllocator, const void* in_pParamsBlock, uint32_t in_uBlockSize) override
    {
        OV_ASSERT(in_pAllocator != NULL);
        if (in_uBlockSize != 0)
            return SetAllParams(in_pParamsBlock, in_uBlockSize);
        Self().InitWithoutBlock();
        return OV_Success;
    }

    OvResult Shutdown(IOvMemAlloc* in_pAllocator) override
    {
        OV_ASSERT(in_pAllocator != NULL);
        OV::Delete(in_pAllocator, &Self());
        return OV_Success;
    }

    // Init with an empty block: keeps the values and marks everything changed.
    void InitWithoutBlock() { Self().MarkAllChanged(); }

    // The effect to tell, on the setter's thread, of changes that will need
    // memory at its next block; null for none.
    void SetChangePreparer(IOvChangePreparer* in_pPreparer) { m_pPreparer = in_pPreparer; }

protected:
    void PrepareForChange()
    {
        if (m_pPreparer)
            m_pPreparer->PrepareForChange();
    }

private:
    T_PARAMS& Self() { return static_cast<T_PARAMS&>(*this); }

    IOvChangePreparer* m_pPreparer = nullptr;
};
