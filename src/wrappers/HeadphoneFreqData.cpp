#include "wrappers/HeadphoneFreqData.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <new>

#include "sdk/dsp/convolution/OvFreqDataWriter.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

uint32_t ReadU32(const uint8_t* p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

uint16_t ReadU16(const uint8_t* p)
{
    return uint16_t(p[0] | p[1] << 8);
}

bool IsTag(const uint8_t* p, const char* tag)
{
    return std::memcmp(p, tag, 4) == 0;
}

// Sample i of the image as an integer of its width, sign-extended.
int32_t RawSample(const uint8_t* p, uint32_t width)
{
    switch (width) {
    case 2: return int16_t(ReadU16(p));
    case 3: return int32_t(uint32_t(p[0]) << 8 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 24) >> 8;
    default: return int32_t(ReadU32(p));
    }
}

}  // namespace

bool ParseHeadphoneWav(const uint8_t* in_pImage, uint64_t in_uImageBytes, HeadphoneWav* out_pWav)
{
    if (!in_pImage || !out_pWav || in_uImageBytes < 12 || !IsTag(in_pImage, "RIFF") || !IsTag(in_pImage + 8, "WAVE"))
        return false;
    bool bFormat = false;
    HeadphoneWav wav;
    uint64_t uPos = 12;
    for (;;) {
        if (in_uImageBytes - uPos < 8)
            return false;
        const uint8_t* pChunk = in_pImage + uPos;
        const uint64_t uChunkBytes = ReadU32(pChunk + 4);
        const uint64_t uBody = uPos + 8;
        const uint64_t uLeft = in_uImageBytes - uBody;
        // A "data" chunk larger than the image is refused as any other.
        if (uChunkBytes > uLeft)
            return false;
        if (IsTag(pChunk, "data")) {
            if (!bFormat || wav.blockAlign == 0 || wav.sampleRate == 0)
                return false;
            const uint64_t uSamples = uChunkBytes / wav.blockAlign;
            if (uSamples == 0 || uSamples > 0xFFFFFFFFu)
                return false;
            wav.data = in_pImage + uBody;
            wav.samples = uint32_t(uSamples);
            *out_pWav = wav;
            return true;
        }
        if (IsTag(pChunk, "fmt ") && !bFormat) {
            if (uChunkBytes < 16 || ReadU16(pChunk + 8 + 2) != 1)
                return false;
            wav.sampleRate = ReadU32(pChunk + 8 + 4);
            wav.blockAlign = ReadU16(pChunk + 8 + 12);
            bFormat = true;
        }
        uPos = uBody + uChunkBytes;
        if (uChunkBytes & 1) {
            if (uPos >= in_uImageBytes)
                return false;  // the pad byte would lie past the end
            if (in_pImage[uPos] == 0)
                ++uPos;
        }
    }
}

const double* HeadphoneFilterTaps()
{
    struct Taps {
        double h[kHeadphoneFilterTaps];
        Taps()
        {
            const int iCentre = int(kHeadphoneFilterTaps / 2);
            const double dCutoff = 5.0 / 48.0;  // cycles per sample at the four-fold rate
            // One half, mirrored, so that the filter is exactly symmetric.
            for (int n = 0; n <= iCentre; ++n) {
                const int m = iCentre - n;
                const double dSinc = m == 0 ? 2.0 * dCutoff : std::sin(2.0 * kPi * dCutoff * m) / (kPi * m);
                const double dWindow = 0.54 - 0.46 * std::cos(2.0 * kPi * n / (kHeadphoneFilterTaps - 1));
                h[n] = h[kHeadphoneFilterTaps - 1 - n] = dSinc * dWindow;
            }
            double dSum = 0.0;
            for (double v : h)
                dSum += v;
            for (double& v : h)
                v /= dSum;
        }
    };
    static const Taps s_taps;
    return s_taps.h;
}

float* ResampleHeadphoneImpulse(const float* in_pSamples, uint32_t in_uSamples, uint32_t in_uFileRateHz,
                                uint32_t in_uStreamRateHz, uint32_t* out_pSamples)
{
    *out_pSamples = 0;
    // A rate of 0 would make the step 0 (an endless loop) or infinite.
    if (!in_pSamples || in_uSamples == 0 || in_uFileRateHz == 0 || in_uStreamRateHz == 0)
        return nullptr;
    const uint64_t uStuffed = uint64_t(in_uSamples) * 4 + 1;
    const double dStep = 4.0 * double(in_uFileRateHz) / double(in_uStreamRateHz);
    const double dOut = std::ceil(double(uStuffed) / dStep) + 1.0;
    if (dOut > double(OV::OV_FREQDATA_MAX_IMPULSE_SAMPLES) || uStuffed > (uint64_t(1) << 28))
        return nullptr;

    // The filter in place: only every fourth input is non-zero, so each
    // output sums the taps that meet one.
    std::unique_ptr<double[]> y(new (std::nothrow) double[uStuffed + 1]);
    if (!y)
        return nullptr;
    const double* h = HeadphoneFilterTaps();
    const int64_t iCentre = kHeadphoneFilterTaps / 2;
    for (uint64_t i = 0; i < uStuffed; ++i) {
        double dSum = 0.0;
        // Inputs x[k] with k = i + j - centre, k a multiple of 4 below 4N.
        int64_t k = int64_t(i) - iCentre;
        int64_t j = 0;
        const int64_t iMisalign = ((k % 4) + 4) % 4;
        if (iMisalign) {
            j += 4 - iMisalign;
            k += 4 - iMisalign;
        }
        for (; j < int64_t(kHeadphoneFilterTaps); j += 4, k += 4)
            if (k >= 0 && k < int64_t(in_uSamples) * 4)
                dSum += h[j] * 4.0 * double(in_pSamples[k / 4]);
        y[i] = dSum;
    }
    y[uStuffed] = 0.0;  // what the interpolation reads past the end

    const uint32_t uCapacity = uint32_t(dOut) + 1;
    float* pOut = new (std::nothrow) float[uCapacity];
    if (!pOut)
        return nullptr;
    uint32_t uCount = 0;
    for (double dPos = 0.0; dPos < double(uStuffed) && uCount < uCapacity; dPos += dStep) {
        const uint64_t i = uint64_t(dPos);
        pOut[uCount++] = float(y[i] + (y[i + 1] - y[i]) * (dPos - double(i)));
    }
    *out_pSamples = uCount;
    return pOut;
}

uint8_t* BuildHeadphoneFreqData(const uint8_t* in_pImage, uint64_t in_uImageBytes, uint32_t in_uStreamRateHz,
                                IOvMemAlloc* in_pAllocator, uint32_t* out_pBytes)
{
    *out_pBytes = 0;
    HeadphoneWav wav;
    if (!in_pAllocator || !ParseHeadphoneWav(in_pImage, in_uImageBytes, &wav))
        return nullptr;
    const uint32_t uWidth = wav.blockAlign;
    if (uWidth < 2 || uWidth > 4)
        return nullptr;
    if (wav.samples > OV::OV_FREQDATA_MAX_IMPULSE_SAMPLES)
        return nullptr;
    uint32_t uSamples = wav.samples;
    while (uSamples > 1 && RawSample(wav.data + uint64_t(uSamples - 1) * uWidth, uWidth) == 0)
        --uSamples;
    const double dScale = uWidth == 2 ? 3.051850947599719e-05 : (uWidth == 3 ? 1.1920929e-7 : 4.656612875245797e-10);
    std::unique_ptr<float[]> samples(new (std::nothrow) float[uint64_t(uSamples) + 1]);
    if (!samples)
        return nullptr;
    for (uint32_t i = 0; i < uSamples; ++i)
        samples[i] = float(RawSample(wav.data + uint64_t(i) * uWidth, uWidth) * dScale);
    samples[uSamples] = 0.0f;

    if (wav.sampleRate != in_uStreamRateHz) {
        uint32_t uResampled = 0;
        float* pResampled = ResampleHeadphoneImpulse(samples.get(), uSamples, wav.sampleRate, in_uStreamRateHz,
                                                     &uResampled);
        if (!pResampled)
            return nullptr;
        samples.reset(pResampled);
        uSamples = uResampled;
    }
    return OV::WriteFreqData(in_pAllocator, samples.get(), uSamples, kHeadphoneBlockFrames, in_uStreamRateHz,
                             out_pBytes);
}
