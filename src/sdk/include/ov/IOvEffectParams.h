// The parameter object of a plug-in. It stores values by numeric ID and marks
// what changed (usually with an OvFXParameterChangeHandler); the effect reads
// values and marks at the top of its next ProcessBlock, so a change never
// reaches a running effect in any other way. Callers keep SetParam and
// ProcessBlock apart (the front end's lock does that).
//
// A minimal parameter object:
//
//   class OvGainFXParams final : public IOvEffectParams {
//   public:
//       OvResult SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize) override
//       {
//           if (!in_pValue) { OV_ASSERT(in_pValue != NULL); return OV_BadParameter; }
//           if (in_uID != 0 || in_uSize < sizeof(float)) return OV_BadParameter;
//           std::memcpy(&fGain, in_pValue, sizeof(float));
//           m_changes.MarkChanged(in_uID);
//           return OV_Success;
//       }
//       ...
//       float fGain = 1.0f;
//       OvFXParameterChangeHandler<1> m_changes;
//   };
#pragma once

#include <cstdint>

#include "ov/IOvMemAlloc.h"
#include "ov/OvCommonDefs.h"

class IOvEffectParams {
public:
    virtual ~IOvEffectParams() = default;

    // Stores one value and marks its ID changed. OV_BadParameter for an
    // unknown ID or a null value.
    virtual OvResult SetParam(uint16_t in_uID, const void* in_pValue, uint32_t in_uSize) = 0;

    // A copy in memory from the allocator, every change mark set; null when
    // out of memory.
    virtual IOvEffectParams* Clone(IOvMemAlloc* in_pAllocator) = 0;

    // With in_uSize 0: keeps the defaults and marks everything changed. With a
    // block: as SetAllParams.
    virtual OvResult Init(IOvMemAlloc* in_pAllocator, const void* in_pParamsBlock, uint32_t in_uBlockSize) = 0;

    // Runs the destructor and gives the memory back to the allocator.
    virtual OvResult Shutdown(IOvMemAlloc* in_pAllocator) = 0;

    // Reads a packed little-endian block, field order as the plug-in defines,
    // and marks everything changed.
    virtual OvResult SetAllParams(const void* in_pParamsBlock, uint32_t in_uBlockSize) = 0;
};
