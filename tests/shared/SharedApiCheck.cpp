// A host that sees only the exported headers and the shared library: it runs
// a short stream through the front end and the bare chain, and measures a
// short tone with the ReplayGain analyser.
#include <cmath>
#include <cstdio>
#include <vector>

#include "lxaudioeffects/lxaudioeffects.h"

int main()
{
    audiofx::AudioEffects* fx = audiofx::AudioEffects::Create();
    if (!fx || !fx->Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100, 0))
        return 1;
    std::vector<int16_t> in(2 * 3000, 1234), out(2 * 4096);
    fx->Push(in.data(), uint32_t(in.size() * 2), 0);
    fx->Push(nullptr, 0, -1);
    size_t frames = 0;
    bool end = false;
    while (!end) {
        uint32_t bytes = uint32_t(out.size() * 2);
        fx->Pull(out.data(), &bytes, &end);
        frames += bytes / 4;
    }
    fx->Destroy();

    LXAudioEffectsProcessor* chain = LXAudioEffectsProcessor::Create();
    if (!chain || !chain->Init(AUDIO_SAMPLEFORMAT_FLOAT, 256, 1, 48000))
        return 1;
    chain->Destroy();

    // A constant level: the high pass takes it all, so the gain is that of
    // silence, but the peak is the level's.
    ReplayGainProcessor rg;
    if (!rg.Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100))
        return 1;
    rg.Push(in.data(), uint32_t(in.size() * 2), true);
    ReplayGainProcessor copy;
    copy = rg;
    ReplayGainInfo info = {0.0f, 0.0f};
    copy.GetReplayGain(ReplayGainTrack, info);
    if (info.gain != 78.0f || std::fabs(info.peak - 1234.0f / 32768.0f) > 1e-6f)
        return 1;
    rg.ResetReplayGain(ReplayGainAlbum);
    rg.Reset();
    std::printf("frames out %zu\n", frames);
    return frames >= 3000 ? 0 : 1;
}
