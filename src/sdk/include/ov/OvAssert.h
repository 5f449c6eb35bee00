// Contract checks of the plug-in frame. A failed check hands the expression
// text, the file and the line to g_pOVAssertHook and then carries on as if
// nothing had happened: checks state contracts, they never stop the program.
// The default hook does nothing; tests install one that records (see
// tests/support/RecordingAssertHook.h).
//
//   OV_ASSERT(in_uIndex < NumChannels());               // reports "in_uIndex < NumChannels()"
//   OV_ASSERT_TEXT(left == 0, "in_ulBlockSize == 0");    // reports the given text
//
// Code after a failed check must stay memory-safe on its own: refuse or clamp.
#pragma once

typedef void (*OvAssertHook)(const char* in_pszExpression, const char* in_pszFileName, int in_iLineNumber);

// Process-wide hook; never null. Nothing in the library changes it.
extern OvAssertHook g_pOVAssertHook;

namespace OV {
// The hook installed at start: does nothing.
void IgnoreAssert(const char* in_pszExpression, const char* in_pszFileName, int in_iLineNumber);
}  // namespace OV

#define OV_ASSERT_TEXT(condition, text)                          \
    do {                                                         \
        if (!(condition) && g_pOVAssertHook)                     \
            g_pOVAssertHook((text), __FILE__, __LINE__);         \
    } while (0)

#define OV_ASSERT(condition) OV_ASSERT_TEXT(condition, #condition)
