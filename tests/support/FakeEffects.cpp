#include "support/FakeEffects.h"

#include <cstdarg>
#include <new>

namespace testsupport {

FakeJournal& Journal()
{
    static FakeJournal journal;
    return journal;
}

std::string Fmt(const char* format, ...)
{
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return text;
}

namespace {

void Note(const std::string& entry) { Journal().calls.push_back(entry); }

// The AudioProcessor part shared by all fakes. Process adds nothing to the
// audio; it records its turn and, for the tail effect, holds the stream open.
template <typename Base>
class Fake : public Base {
public:
    explicit Fake(const char* name_) : name(name_) { ++Journal().live; }
    virtual ~Fake() { --Journal().live; }

    bool Init(uint32_t maxFrames_, uint32_t channels, uint32_t sampleRate) override
    {
        maxFrames = maxFrames_;
        Note(Fmt("%s.Init(%u,%u,%u)", name, maxFrames_, channels, sampleRate));
        return true;
    }
    void Destroy() override
    {
        Note(Fmt("%s.Destroy()", name));
        delete this;
    }
    void Process(float*, bool* draining, uint32_t* frames) override
    {
        if (Journal().recordProcess)
            Note(Fmt("%s.Process(%u,%s)", name, *frames, *draining ? "draining" : "-"));
        if (Journal().tailEffect && std::string(Journal().tailEffect) == name && *draining &&
            tailGiven < Journal().tailBlocks) {
            ++tailGiven;
            *frames = maxFrames;
            *draining = false;
        }
    }
    void SetBypass(bool bypass) override { Note(Fmt("%s.SetBypass(%d)", name, int(bypass))); }
    void Reset() override
    {
        tailGiven = 0;
        Note(Fmt("%s.Reset()", name));
    }

protected:
    bool Load(uint64_t size)
    {
        Note(Fmt("%s.SetImpulse(%llu)", name, static_cast<unsigned long long>(size)));
        return Journal().impulseLoads && size > 0;
    }

    const char* name;
    uint32_t maxFrames = 0;
    unsigned tailGiven = 0;
};

// Setters whose values a test reads note them; the others take them silently.
struct FakeLoudness final : Fake<LoudnessProcessor> {
    FakeLoudness() : Fake("loudness") {}
    void SetParams(const LoudnessInfo& i) override { Note(Fmt("loudness.SetParams(%g,%g)", i.gain, i.peak)); }
};

struct FakeReverb final : Fake<ReverbProcessor> {
    FakeReverb() : Fake("reverb") {}
    void SetEarlyReflections(bool, uint32_t, float, float) override {}
    void SetReverbBody(const ReverbParams&) override {}
    void SetToneCorrectionEnable(bool) override {}
    void SetToneCorrectionFilter(uint32_t i, const ReverbFilterParams& f) override
    {
        Note(Fmt("reverb.SetToneCorrectionFilter(%u,%u,%u,%g,%g,%g)", i, f.InsertType, f.CurveType, f.Gain, f.Freq,
                 f.Q));
    }
    void SetInputLevels(float, float) override {}
    void SetReverbLevels(float, float, float, float) override {}
    void SetOutputLevels(float, float, float) override {}
};

struct FakeStereoEnhancer final : Fake<StereoEnhancerProcessor> {
    FakeStereoEnhancer() : Fake("stereoEnhancer") {}
    void SetParams(float, float, bool, uint32_t) override {}
};

struct FakeRotate3D final : Fake<Rotate3DProcessor> {
    FakeRotate3D() : Fake("rotate3D") {}
    void SetParams(float) override {}
};

struct FakeSpatialAudio final : Fake<SpatialAudioProcessor> {
    FakeSpatialAudio() : Fake("spatialAudio") {}
    void SetParams(const SpatialAudioParams&) override {}
};

struct FakeGraphicEQ final : Fake<GraphicEQProcessor> {
    FakeGraphicEQ() : Fake("graphicEQ") {}
    void SetBandGains(const float* g) override
    {
        Note(Fmt("graphicEQ.SetBandGains(%g,%g,%g,%g,%g,%g,%g,%g,%g,%g)", g[0], g[1], g[2], g[3], g[4], g[5], g[6],
                 g[7], g[8], g[9]));
    }
};

struct FakeBassTreble final : Fake<BassTrebleProcessor> {
    FakeBassTreble() : Fake("bassTreble") {}
    void SetGains(float, float) override {}
    void SetFilters(float, float, float, float) override {}
};

// The two compressor instances are told apart by creation order.
struct FakeCompressor final : Fake<CompressorProcessor> {
    explicit FakeCompressor(const char* n) : Fake(n) {}
    void SetParams(const CompressorEffectParams& p) override
    {
        Note(Fmt("%s.SetParams(%g,%g,%g,%g,%g,%g,%g)", name, p.Threshold, p.Ratio, p.Attack, p.Release, p.Range,
                 p.PreGain, p.PostGain));
    }
};

struct FakeParametricEQ final : Fake<ParametricEQProcessor> {
    FakeParametricEQ() : Fake("parametricEQ") {}
    void SetOutputGain(float) override {}
    void SetFilter(uint32_t i, const ParametricEQFilterParams& f) override
    {
        Note(Fmt("parametricEQ.SetFilter(%u,%u,%g,%g,%g,%d)", i, f.FilterType, f.Gain, f.Freq, f.Q, int(f.on)));
    }
};

struct FakeDelay final : Fake<DelayProcessor> {
    FakeDelay() : Fake("delay") {}
    void SetParams(const DelayEffectParams& p) override
    {
        Note(Fmt("delay.SetParams(%g,%g,%g,%g)", p.Delay, p.Feedback, p.DryLevel, p.WetLevel));
    }
    void SetUnused(uint32_t, uint32_t, uint32_t) override {}
};

// The impulse effects load whatever is not empty, unless the journal says otherwise.
struct FakeFIR final : Fake<FIRProcessor> {
    FakeFIR() : Fake("fir") {}
    bool SetImpulse(const void*, uint64_t size) override { return Load(size); }
};

struct FakeHeadphone final : Fake<HeadphoneProcessor> {
    FakeHeadphone() : Fake("headphone") {}
    bool SetImpulse(const void*, uint64_t size, float, float) override { return Load(size); }
};

struct FakeVibrato final : Fake<VibratoProcessor> {
    FakeVibrato() : Fake("vibrato") {}
    bool SetParams(double, double) override { return true; }
};

struct FakeTremolo final : Fake<TremoloProcessor> {
    FakeTremolo() : Fake("tremolo") {}
    bool SetParams(double f, double r) override
    {
        Note(Fmt("tremolo.SetParams(%g,%g)", f, r));
        return true;
    }
};

struct FakeLimiter final : Fake<LimiterProcessor> {
    FakeLimiter() : Fake("limiter") {}
    void SetParams(const LimiterEffectParams& p) override
    {
        Note(Fmt("limiter.SetParams(%g,%g,%g,%g,%d,%g)", p.Threshold, p.Attack, p.Release, p.OutputGain,
                 int(p.InfiniteRatio), p.Ratio));
    }
};

template <typename Base, typename T>
Base* Make()
{
    return new (std::nothrow) T();
}

CompressorProcessor* MakeCompressor()
{
    // The chain makes the pre compressor first, then the post compressor.
    const bool first = Journal().calls.empty() ||
                       Journal().calls.back().rfind("compressor.Init", 0) != 0;
    return new (std::nothrow) FakeCompressor(first ? "compressor" : "postCompressor");
}

}  // namespace

const ProcessorFactories& FakeFactories()
{
    static const ProcessorFactories factories =
        ProcessorFactories()
            .With<Slot::Loudness, &Make<LoudnessProcessor, FakeLoudness>>()
            .With<Slot::Compressor, &MakeCompressor>()
            .With<Slot::GraphicEQ, &Make<GraphicEQProcessor, FakeGraphicEQ>>()
            .With<Slot::BassTreble, &Make<BassTrebleProcessor, FakeBassTreble>>()
            .With<Slot::ParametricEQ, &Make<ParametricEQProcessor, FakeParametricEQ>>()
            .With<Slot::PostCompressor, &MakeCompressor>()
            .With<Slot::Vibrato, &Make<VibratoProcessor, FakeVibrato>>()
            .With<Slot::Tremolo, &Make<TremoloProcessor, FakeTremolo>>()
            .With<Slot::StereoEnhancer, &Make<StereoEnhancerProcessor, FakeStereoEnhancer>>()
            .With<Slot::Rotate3D, &Make<Rotate3DProcessor, FakeRotate3D>>()
            .With<Slot::SpatialAudio, &Make<SpatialAudioProcessor, FakeSpatialAudio>>()
            .With<Slot::Delay, &Make<DelayProcessor, FakeDelay>>()
            .With<Slot::Reverb, &Make<ReverbProcessor, FakeReverb>>()
            .With<Slot::FIR, &Make<FIRProcessor, FakeFIR>>()
            .With<Slot::Headphone, &Make<HeadphoneProcessor, FakeHeadphone>>()
            .With<Slot::Limiter, &Make<LimiterProcessor, FakeLimiter>>();
    return factories;
}

}  // namespace testsupport
