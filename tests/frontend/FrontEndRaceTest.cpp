// Every kind of call a host can make from other threads while one pushes and
// pulls: setters, impulse loads, state dumps, Init with another format,
// ResetEffects, Reset and the logger. Built with ThreadSanitizer this
// finds data races and lock-order faults; elsewhere it must simply not crash.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>
#include <vector>

#include "lxaudioeffects/AudioEffects.h"
#include "support/RecordingLogger.h"

namespace {

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
    std::thread loader([&] {
        for (unsigned i = 0; !stop.load(); ++i) {
            const std::vector<uint8_t> image(1 + i % 5000, uint8_t(i * 7));
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

}  // namespace
