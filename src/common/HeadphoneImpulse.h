// Turns a headphone impulse image into what the headphone effect loads: the
// image cut to its RIFF data, the two gains of an optional 16-byte "LXHG"
// trailer behind it (magic, 4 reserved bytes, bypassed and active gain as
// f32; both 0 without one), and, when the image's rate is not the stream's,
// the image resampled and rewritten, with the active gain raised by the
// impulse's level correction in dB.
#pragma once

#include <cstdint>

constexpr float kSilenceDb = -96.3f;

// 20 log10(x) in single precision; 0 gives kSilenceDb.
float LinearToDb(float x);

// Reads a trailer at riffEnd (RIFF size + 8) when at least 16 bytes follow
// and the magic matches; NaN gains count as absent. Returns whether it did.
bool ReadLxhgTrailer(const uint8_t* image, uint64_t imageBytes, uint64_t riffEnd, float* bypassedGain,
                     float* activeGain);

// *impulse is null on entry and gets a malloc block (caller frees) only when
// the image was resampled; *imageBytes is the image's size in and the size
// to use out. An image that does not load leaves everything but the zeroed
// gains alone, and the effect gets the bytes as they came.
void PrepareHeadphoneImpulse(const void* image, void** impulse, uint64_t* imageBytes, float* bypassedGain,
                             float* activeGain, uint32_t streamRateHz);
