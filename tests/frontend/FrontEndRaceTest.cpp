// Every kind of call a host can make from other threads while one pushes and
// pulls: setters, impulse loads, state dumps, Init with another format,
// ResetEffects, Reset and the logger. Built with ThreadSanitizer this
// finds data races and lock-order faults; elsewhere it must simply not crash.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>
#include <vector>

#include "common/WavImage.h"
#include "lxaudioeffects/AudioEffects.h"
#include "lxaudioeffects/LXAudioEffectsProcessor.h"
#include "support/RecordingLogger.h"

namespace {

// A short decaying impulse that loads.
std::vector<uint8_t> ValidImpulse(uint32_t rateHz, size_t frames)
{
    std::vector<float> h(frames);
    for (size_t i = 0; i < frames; ++i)
        h[i] = std::exp(-0.01f * float(i)) * (i % 2 ? 0.5f : -0.5f);
    return Riff(WavImage().Fmt(3, 1, rateHz, 32).Data(FloatBytes(h)));
}

class NullLogger : public IAudioEffectsLogger {
public:
    int Log(const char*, int32_t, const char*, ...) override { return 0; }
};

TEST(FrontEndRace, AnyCallFromAnotherThreadWhilePushing)
{
    NullLogger quiet;
    testsupport::RecordingLogger recording;
    audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
    fx->SetLogger(&quiet);
    ASSERT_TRUE(fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 4096));
    std::atomic<bool> stop{false};
    std::atomic<unsigned> calls{0};
    std::thread host([&] {
        for (unsigned i = 0; !stop.load(); i = ++calls) {
            const float x = float(i % 11);
            const bool on = (i & 1) != 0;
            fx->SetGraphEQON(on);
            const float gains[10] = {x, -x, x, -x, x, -x, x, -x, x, -x};
            fx->SetGraphEQGains(gains);
            fx->SetDelayON(!on);
            const DelayEffectParams delay = {5.0f + 10.0f * x, 0.3f, 0.0f, -6.0f};
            fx->SetDelayParams(&delay);
            fx->SetVibratoON(on);
            fx->SetVibratoParams(1.0 + x, 0.1);
            fx->SetReverbON(on);
            const ReverbParams body = {10.0f * x, 1.0f, 2.0f, 80.0f, 100.0f, 8u, 100.0f, 180.0f};
            fx->SetReverbRVBParams(&body);
            const std::vector<uint8_t> image(64 + i % 300, uint8_t(i));
            fx->SetFIRON(on);
            fx->SetFIRImpulse(image.data(), image.size());
            fx->SetHeadphoneON(!on);
            fx->SetHeadphoneImpulse(image.data(), image.size());
            fx->SetBypassMode(i % 5 == 0);
            switch (i % 6) {
            case 0: fx->DumpState(); break;
            case 1: fx->ResetEffects(); break;
            case 2: fx->Reset(); break;
            case 3: fx->Init(i % 12 == 3 ? AUDIO_SAMPLEFORMAT_FLOAT : AUDIO_SAMPLEFORMAT_S16, 2, 44100, 4096); break;
            case 4: fx->SetLogger(i % 8 == 4 ? static_cast<IAudioEffectsLogger*>(&recording) : &quiet); break;
            default: break;
            }
            if (i % 64 == 0)
                recording.Take();
        }
    });
    // A third thread loads impulses against the second's resets and loads.
    const std::vector<uint8_t> valid = ValidImpulse(48000, 3000);
    std::thread loader([&] {
        for (unsigned i = 0; !stop.load(); ++i) {
            const std::vector<uint8_t> image = i % 3 ? std::vector<uint8_t>(1 + i % 5000, uint8_t(i * 7)) : valid;
            fx->SetHeadphoneImpulse(image.data(), image.size());
            fx->SetFIRImpulse(image.data(), i % 9 == 0 ? 0 : image.size());
        }
    });
    std::vector<int16_t> chunk(777 * 2), out(8192 * 2);
    for (size_t i = 0; i < chunk.size(); ++i)
        chunk[i] = int16_t(12000.0 * std::sin(0.03 * double(i)));
    bool end = false;
    // Both sides do a fair amount of work, whichever the scheduler favours.
    for (int round = 0; round < 1500 || calls.load() < 600; ++round) {
        fx->Push(chunk.data(), uint32_t(chunk.size() * 2), round);
        uint32_t bytes = uint32_t(out.size() * 2);
        fx->Pull(out.data(), &bytes, &end);
        if (round % 300 == 299) {
            fx->Push(nullptr, 0, -1);  // an end of stream, then the next track
            for (int guard = 0; !end && guard < 1000; ++guard) {
                bytes = uint32_t(out.size() * 2);
                fx->Pull(out.data(), &bytes, &end);
            }
            fx->Reset();
        }
    }
    stop = true;
    host.join();
    loader.join();
    fx->SetLogger(nullptr);
    fx->Destroy();
}

// The chain used directly: impulse loads fill the FIR effect outside the
// chain's lock while Reset drops it and Init rebuilds the chain.
TEST(ChainRace, ImpulseLoadsAgainstResetAndInit)
{
    LXAudioEffectsProcessor* chain = LXAudioEffectsProcessor::Create();
    ASSERT_TRUE(chain->Init(AUDIO_SAMPLEFORMAT_FLOAT, 1024, 2, 44100));
    const std::vector<uint8_t> images[] = {ValidImpulse(44100, 5000), ValidImpulse(22050, 100)};
    std::atomic<bool> stop{false};
    std::thread loader([&] {
        for (unsigned i = 0; !stop.load(); ++i)
            chain->SetFIRImpulse(images[i % 2].data(), images[i % 2].size());
    });
    std::thread resetter([&] {
        for (unsigned i = 0; !stop.load(); ++i) {
            chain->SetFIRON(i % 3 == 0);
            chain->Reset();
            if (i % 50 == 0)
                chain->Init(AUDIO_SAMPLEFORMAT_FLOAT, 1024, 2, i % 100 ? 44100 : 48000);
        }
    });
    std::vector<float> block(1024 * 2, 0.25f);
    for (int round = 0; round < 3000; ++round) {
        uint32_t frames = 1024;
        bool done = round % 100 == 99;
        chain->Process(block.data(), &frames, &done, -1);
    }
    stop = true;
    loader.join();
    resetter.join();
    chain->Destroy();
}

}  // namespace
