// One change mark per parameter ID, 0 to T_MAXNUMPARAMS, in a bit array of
// T_MAXNUMPARAMS / 8 + 1 bytes. SetParam marks; the effect tests and clears
// at the top of its next block. An ID beyond the range is reported and ignored.
#pragma once

#include <cstdint>
#include <cstring>

#include "ov/OvAssert.h"

template <uint32_t T_MAXNUMPARAMS>
class OvFXParameterChangeHandler {
public:
    static constexpr uint32_t kNumBytes = T_MAXNUMPARAMS / 8 + 1;

    OvFXParameterChangeHandler() { ClearAllChanges(); }

    void MarkChanged(uint32_t in_ID)
    {
        OV_ASSERT(in_ID <= T_MAXNUMPARAMS);
        if (in_ID <= T_MAXNUMPARAMS)
            m_uBits[in_ID >> 3] |= uint8_t(1u << (in_ID & 7));
    }

    bool IsChanged(uint32_t in_ID) const
    {
        OV_ASSERT(in_ID <= T_MAXNUMPARAMS);
        return in_ID <= T_MAXNUMPARAMS && (m_uBits[in_ID >> 3] & (1u << (in_ID & 7))) != 0;
    }

    void ClearAllChanges() { std::memset(m_uBits, 0, sizeof m_uBits); }
    void MarkAllChanged() { std::memset(m_uBits, 0xFF, sizeof m_uBits); }

private:
    uint8_t m_uBits[kNumBytes];
};
