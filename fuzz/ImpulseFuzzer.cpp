// libFuzzer target over the impulse-file path: the WAV reader, resampling of
// an impulse to the stream's rate, the headphone image preparation, the
// headphone effect's own reader up to its frequency data block, and the
// validation of frequency data blocks that the convolution engine trusts
// after it (the input taken as such a block, run through the engine on
// success). The first byte picks the stream rate; the rest is the image.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "FuzzInput.h"
#include "common/HeadphoneImpulse.h"
#include "common/ResampleImpulse.h"
#include "common/WavReader.h"
#include "ov/IOvEffectContext.h"
#include "ov/IOvGlobalContext.h"
#include "ov/OvMemAllocDefault.h"
#include "sdk/dsp/convolution/OvFreqData.h"
#include "sdk/dsp/convolution/OvPartitionedConvolutionEngine.h"
#include "wrappers/HeadphoneFreqData.h"

#include <cstring>
#include <vector>

namespace {

// Serves one block as media.
class MediaContext final : public IOvEffectContext, public IOvGlobalContext {
public:
    const uint8_t* media = nullptr;
    uint32_t mediaBytes = 0;
    IOvGlobalContext* GetGlobalContext() const override { return const_cast<MediaContext*>(this); }
    OvResult FetchMedia(uint32_t, const uint8_t** out_pData, uint32_t* out_uSize) override
    {
        *out_pData = media;
        *out_uSize = mediaBytes;
        return OV_Success;
    }
    OvResult PostMeterData(const void*, uint32_t) override { return OvResult(0); }
    bool WantsMeterData() const override { return false; }
    OvResult PostMonitorMessage(const char*) override { return OvResult(0); }
    const OvCpuInfo* GetCpuInfo() const override { return nullptr; }
    bool IsSendModeEffect() const override { return false; }
    uint16_t GetMaxFrames() const override { return 1024; }
    uint32_t GetSampleRate() const override { return 48000; }
    IOvMemAlloc* GetAllocator() override { return OV::DefaultAllocator(); }
};

// Init on the block and one convolved block of every channel; a block that
// validates must run, and its output must be finite for finite input.
void RunEngine(const uint8_t* block, uint32_t bytes, uint32_t streamRateHz)
{
    IOvMemAlloc* allocator = OV::DefaultAllocator();
    MediaContext context;
    context.media = block;
    context.mediaBytes = bytes;
    OvPartitionedConvolutionEngine engine;
    if (engine.Init(allocator, &context, streamRateHz, nullptr) == OV_Success &&
        engine.InitAccumulators(allocator, 2) == OV_Success) {
        const OvFreqDataHeader& h = engine.Header();
        std::vector<float> io(h.uBlockLength, 0.5f), time(h.uFFTLength);
        std::vector<ov_fft_cpx> freq(h.uFFTLength / 2 + 1);
        for (uint32_t c = 0; c < 2; ++c)
            engine.Convolve(io.data(), h.uBlockLength, time.data(), freq.data(), c, c % engine.ImpulseChannels());
        engine.Advance();
    }
    engine.Term(allocator);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const uint32_t streamRateHz = FuzzStreamRate(data[0]);
    const uint8_t* image = data + 1;
    const uint64_t imageBytes = size - 1;

    WavReader reader;
    if (reader.Load(image, imageBytes, true) && reader.FrameCount() > 0) {
        float* resampled = nullptr;
        uint32_t resampledFrames = 0;
        if (ResampleImpulse(reader.Samples(), reader.FrameCount(), reader.SampleRate(), reader.Channels(),
                            &resampled, &resampledFrames, streamRateHz) == kResampleDone) {
            for (uint64_t i = 0; i < uint64_t(resampledFrames) * reader.Channels(); ++i)
                if (!(resampled[i] == resampled[i]))
                    std::abort();  // resampling must not make NaN from finite samples
        }
        std::free(resampled);
    }

    void* prepared = nullptr;
    uint64_t preparedBytes = imageBytes;
    float bypassedGain = 0.0f, activeGain = 0.0f;
    PrepareHeadphoneImpulse(image, &prepared, &preparedBytes, &bypassedGain, &activeGain, streamRateHz);
    if (prepared) {
        // The prepared image must load again, at the stream's rate.
        WavReader again;
        if (!again.Load(prepared, preparedBytes, true) || again.SampleRate() != streamRateHz)
            std::abort();
    }
    std::free(prepared);

    // The headphone effect's reader: a block it builds must validate.
    IOvMemAlloc* allocator = OV::DefaultAllocator();
    uint32_t freqBytes = 0;
    uint8_t* freqData = BuildHeadphoneFreqData(image, imageBytes, streamRateHz, allocator, &freqBytes);
    if (freqData && !OV::ValidateFreqData(freqData, freqBytes, nullptr))
        std::abort();
    allocator->Free(freqData);

    // The bytes as a frequency data block, 16-byte aligned as the engine
    // requires of its media.
    if (imageBytes >= OV::OV_FREQDATA_HEADER_BYTES) {
        uint8_t* block = static_cast<uint8_t*>(allocator->Malloc(size_t(imageBytes)));
        if (block) {
            std::memcpy(block, image, size_t(imageBytes));
            RunEngine(block, uint32_t(imageBytes), streamRateHz);
            allocator->Free(block);
        }
    }
    return 0;
}
