#include "common/FFmpegFft.h"

#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/tx.h>
}

static_assert(sizeof(FftComplex) == sizeof(AVComplexFloat) && offsetof(FftComplex, im) == offsetof(AVComplexFloat, im),
              "FftComplex must share AVComplexFloat's layout");
static_assert(std::is_same<FftTransformFunction, av_tx_fn>::value, "FftTransformFunction must be av_tx_fn");

namespace {

bool InitTransform(AVTXContext** context, FftTransformFunction* function, AVTXType type, bool inverse, uint32_t points,
                   float scale, uint64_t flags)
{
    return av_tx_init(context, function, type, inverse ? 1 : 0, int(points), &scale, flags) == 0 && *context &&
           *function;
}

}  // namespace

void* AllocateFftBuffer(size_t bytes)
{
    return av_malloc(bytes);
}

void FreeFftBuffer(void* buffer)
{
    av_free(buffer);
}

FFmpegComplexFft* FFmpegComplexFft::Create(int bits)
{
    if (bits < kMinBits || bits > kMaxBits)
        return nullptr;
    FFmpegComplexFft* fft = new (std::nothrow) FFmpegComplexFft();
    if (!fft)
        return nullptr;
    fft->points = uint32_t(1) << bits;
    fft->scratch = static_cast<FftComplex*>(AllocateFftBuffer(fft->points * sizeof(FftComplex)));
    if (!fft->scratch ||
        !InitTransform(&fft->forwardContext, &fft->forwardFunction, AV_TX_FLOAT_FFT, false, fft->points, 1.0f, 0) ||
        !InitTransform(&fft->inverseContext, &fft->inverseFunction, AV_TX_FLOAT_FFT, true, fft->points, 1.0f, 0)) {
        fft->Destroy();
        return nullptr;
    }
    return fft;
}

void FFmpegComplexFft::Destroy()
{
    delete this;
}

FFmpegComplexFft::~FFmpegComplexFft()
{
    av_tx_uninit(&forwardContext);
    av_tx_uninit(&inverseContext);
    FreeFftBuffer(scratch);
}

void FFmpegComplexFft::Forward(FftComplex* data)
{
    forwardFunction(forwardContext, scratch, data, sizeof(FftComplex));
    std::memcpy(data, scratch, points * sizeof(FftComplex));
}

void FFmpegComplexFft::Inverse(FftComplex* data)
{
    inverseFunction(inverseContext, scratch, data, sizeof(FftComplex));
    std::memcpy(data, scratch, points * sizeof(FftComplex));
}

FFmpegRealFft* FFmpegRealFft::Create(int bits)
{
    if (bits < kMinBits || bits > kMaxBits)
        return nullptr;
    FFmpegRealFft* fft = new (std::nothrow) FFmpegRealFft();
    if (!fft)
        return nullptr;
    fft->points = uint32_t(1) << bits;
    fft->spectrum = static_cast<FftComplex*>(AllocateFftBuffer((fft->points / 2 + 1) * sizeof(FftComplex)));
    // The inverse's scale of 1/2 gives the (N/2) x of the packed convention
    // in place of av_tx's N x.
    if (!fft->spectrum ||
        !InitTransform(&fft->forwardContext, &fft->forwardFunction, AV_TX_FLOAT_RDFT, false, fft->points, 1.0f, 0) ||
        !InitTransform(&fft->inverseContext, &fft->inverseFunction, AV_TX_FLOAT_RDFT, true, fft->points, 0.5f, 0)) {
        fft->Destroy();
        return nullptr;
    }
    return fft;
}

void FFmpegRealFft::Destroy()
{
    delete this;
}

FFmpegRealFft::~FFmpegRealFft()
{
    av_tx_uninit(&forwardContext);
    av_tx_uninit(&inverseContext);
    FreeFftBuffer(spectrum);
}

// av_tx writes N/2 + 1 bins out of place; bins 1 .. N/2 - 1 already sit in the
// packed layout, and the real Nyquist value takes the empty imaginary slot of DC.
void FFmpegRealFft::Forward(float* data)
{
    const uint32_t half = points / 2;
    forwardFunction(forwardContext, spectrum, data, sizeof(float));
    data[0] = spectrum[0].re;
    data[1] = spectrum[half].re;
    std::memcpy(data + 2, spectrum + 1, (half - 1) * sizeof(FftComplex));
}

void FFmpegRealFft::Inverse(float* data)
{
    const uint32_t half = points / 2;
    spectrum[0] = {data[0], 0.0f};
    spectrum[half] = {data[1], 0.0f};
    std::memcpy(spectrum + 1, data + 2, (half - 1) * sizeof(FftComplex));
    inverseFunction(inverseContext, data, spectrum, sizeof(FftComplex));
}
