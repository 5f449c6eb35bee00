// The room reverb's table of 31 early-reflection patterns, measured at 48 kHz
// and selected by number: a left and a right set of taps, each ascending in
// time. Tap times are in ms at room size 0, whole multiples of 1/48 ms; gains
// are linear and signed. The names only label the rows. The table itself is
// generated (ERPatternsTable.cpp).
#pragma once

#include <cstdint>

namespace OvRoomVerb {

constexpr uint32_t OV_ER_NUM_PATTERNS = 31;
constexpr uint32_t OV_ER_MAX_TAPS = 64;

struct ERTap {
    float fTime;  // ms
    float fGain;
};

struct ERPattern {
    const wchar_t* name;
    uint32_t uNumTapsLeft;  // 8 to 64
    const ERTap* pTapsLeft;
    uint32_t uNumTapsRight;  // 9 to 64
    const ERTap* pTapsRight;
};

extern const ERPattern g_ERPatternsList[OV_ER_NUM_PATTERNS];

}  // namespace OvRoomVerb
