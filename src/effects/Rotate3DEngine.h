// The DSP of rotate 3D on blocks of its own fixed form: 44100 Hz,
// two channels, at most 256 frames, 1024-point transforms. Per block it
// splits the signal into sum, (L + R) * 0.707, and difference,
// (L - R) * 0.707; filters the sum through the far-ear and near-ear responses
// of the present azimuth, interpolated between the two nearest rows of
// Rotate3DResponses, and the difference through the near-ear row at
// 90 degrees, positive to the left and negative to the right; adds 256
// frames of overlap from the block before; then advances the azimuth by
// angleStep = (256 / 44100 * 360) / velocity degrees. The first block after
// Init or Reset is computed but gives no frames: its tail lives on in the
// overlap.
//
// How, against the plain form (two forward and four inverse
// complex transforms, products summed per ear in time): the sum and the
// difference are real, so each takes one packed real transform
// (FFmpegRealFft, the cost of half a complex one), and the products are
// summed per ear in the frequency domain,
//   Left  = Sum * leftResponse  + Diff * G,
//   Right = Sum * rightResponse - Diff * G,
// so each ear takes one inverse real transform. Per block that is two
// forward and two inverse real transforms of 1024 points, the work of one
// forward and one inverse complex one, and one overlap array per ear. The
// result equals the plain form within float rounding. Two cases stay exact:
// with L = -R the sum is exactly 0 and the right output is exactly the
// negative of the left, and with L = R the difference is exactly 0 and adds
// nothing. Packing sum + i * difference into one complex transform would
// cost the same but lose both: unpacking gives the silent one back as
// rounding noise, not as 0.
//
// Azimuth 0 is straight ahead and the source moves over the listener's right
// (at 90 degrees the left output carries the far-ear row), reaches the back
// at 180 and returns over the left, where the rows are read mirrored and the
// ears exchanged.
#pragma once

#include <cstdint>

#include "common/FFmpegFft.h"

class Rotate3DEngine {
public:
    static constexpr uint32_t kSampleRate = 44100;
    static constexpr uint32_t kChannels = 2;
    static constexpr uint32_t kBlockFrames = 256;
    static constexpr int kFftBits = 10;
    static constexpr uint32_t kFftPoints = 1024;
    static constexpr uint32_t kBins = kFftPoints / 2 + 1;
    static constexpr float kDefaultVelocity = 40.0f;

    // Null when out of memory.
    static Rotate3DEngine* Create();
    void Destroy();

    // False unless sampleRate is 44100, channels 2 and blockFrames 256, or
    // when memory runs out. Sets the velocity again at its end, which keeps
    // any velocity set before.
    bool Init(uint32_t sampleRate, uint32_t channels, uint32_t blockFrames);
    // Seconds per revolution; the caller keeps it at 1 or more.
    void SetVelocity(float velocity);
    // In place on planes[0] (left) and planes[1] (right), *frames valid
    // frames (at most 256) in, frames given out: 0 for the first block.
    void Process(float* const* planes, uint32_t* frames);
    // Forgets the audio: overlap silent, the next block a warm-up block.
    // The azimuth stays.
    void Reset();
    // Azimuth back to 0.
    void ResetAngle();

    // Azimuth in degrees, [0, 360). SetAngle is for tests; a value outside
    // that range, or a NaN, is taken as 0.
    void SetAngle(float degrees) { angle = degrees >= 0.0f && degrees < 360.0f ? degrees : 0.0f; }
    float Angle() const { return angle; }
    float AngleStep() const { return angleStep; }
    // True while the next block is a warm-up block, which gives no frames.
    bool WarmingUp() const { return warmupCount < 1; }
    float Velocity() const { return velocity; }

private:
    Rotate3DEngine() = default;
    ~Rotate3DEngine();
    Rotate3DEngine(const Rotate3DEngine&) = delete;
    Rotate3DEngine& operator=(const Rotate3DEngine&) = delete;

    void Release();
    void InterpolateResponses();

    uint32_t sampleRate = 0;
    uint32_t channels = 0;
    uint32_t blockFrames = 0;
    FFmpegRealFft* fft = nullptr;
    // One FFT buffer holds all the arrays below, each on a 64-byte boundary.
    float* storage = nullptr;
    FftComplex* leftResponse = nullptr;   // kBins
    FftComplex* rightResponse = nullptr;  // kBins
    float* sumSpectrum = nullptr;         // kFftPoints, packed real spectrum
    float* diffSpectrum = nullptr;        // kFftPoints
    float* leftSpectrum = nullptr;        // kFftPoints
    float* rightSpectrum = nullptr;       // kFftPoints
    float* overlapLeft = nullptr;         // kBlockFrames
    float* overlapRight = nullptr;        // kBlockFrames
    float velocity = kDefaultVelocity;
    float angle = 0.0f;
    float angleStep = 0.0f;
    uint32_t warmupCount = 0;
};
