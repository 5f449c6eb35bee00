// A host that sees only the exported headers and the shared library: it runs
// a short stream through the front end and the bare chain, and measures a
// short tone with the ReplayGain analyser.
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

    ReplayGainProcessor rg;
    ReplayGainProcessor copy;
    if (rg.Init(AUDIO_SAMPLEFORMAT_S16, 2, 44100)) {
        rg.Push(in.data(), uint32_t(in.size() * 2), true);
        copy = rg;
    }
    ReplayGainInfo info = {0.0f, 0.0f};
    copy.GetReplayGain(ReplayGainTrack, info);
    rg.ResetReplayGain(ReplayGainAlbum);
    rg.Reset();
    std::printf("frames out %zu\n", frames);
    return frames >= 3000 ? 0 : 1;
}
