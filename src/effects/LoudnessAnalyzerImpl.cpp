#include "effects/LoudnessAnalyzerImpl.h"

#include <cmath>
#include <new>

LoudnessAnalyzerImpl* LoudnessAnalyzerImpl::Create()
{
    return new (std::nothrow) LoudnessAnalyzerImpl();
}

LoudnessAnalyzerImpl::~LoudnessAnalyzerImpl()
{
    ReleaseFilters();
}

void LoudnessAnalyzerImpl::Destroy()
{
    delete this;
}

void LoudnessAnalyzerImpl::ReleaseFilters()
{
    delete[] stage1Filters;
    delete[] stage2Filters;
    stage1Filters = nullptr;
    stage2Filters = nullptr;
}

bool LoudnessAnalyzerImpl::Init(uint32_t maxFrames_, uint32_t channels_, uint32_t sampleRate_)
{
    if (maxFrames_ == 0 || channels_ == 0 || sampleRate_ == 0)
        return false;
    ReleaseFilters();
    stage1Filters = new (std::nothrow) Stage[channels_];
    stage2Filters = new (std::nothrow) Stage[channels_];
    if (!stage1Filters || !stage2Filters || !albumGating.Init() || !trackGating.Init()) {
        ReleaseFilters();
        return false;
    }
    // A new Init ends the track but keeps the album running.
    trackGating.Reset();
    maxFrames = maxFrames_;
    channels = channels_;
    sampleRate = sampleRate_;
    // Rates below 10 Hz would give empty blocks; one frame is the least.
    blockFrames = sampleRate / 10 ? sampleRate / 10 : 1;
    blockPosition = 0;
    blockEnergy = 0.0;
    trackPeak = 0.0f;

    const float rate = float(sampleRate);
    Stage shelf;
    {
        const float A = std::pow(10.0f, 0.1f);
        const float w = 9443.0f / rate;
        const float alpha = std::sin(w) / 1.42f;
        const float B = 2.0f * std::sqrt(A) * alpha;
        const float c = std::cos(w);
        const float a0 = (A + 1.0f) - (A - 1.0f) * c + B;
        shelf.a1 = 2.0f * ((A - 1.0f) - (A + 1.0f) * c) / a0;
        shelf.a2 = ((A + 1.0f) - (A - 1.0f) * c - B) / a0;
        shelf.b0 = A * ((A + 1.0f) + (A - 1.0f) * c + B) / a0;
        shelf.b1 = -2.0f * A * ((A - 1.0f) + (A + 1.0f) * c) / a0;
        shelf.b2 = A * ((A + 1.0f) + (A - 1.0f) * c - B) / a0;
    }
    Stage highPass;
    {
        const float w = 238.76105f / rate;
        const float alpha = std::sin(w);
        const float c = std::cos(w);
        const float a0 = 1.0f + alpha;
        highPass.a1 = -2.0f * c / a0;
        highPass.a2 = (1.0f - alpha) / a0;
        highPass.b0 = (1.0f + c) / 2.0f / a0;
        highPass.b1 = -(1.0f + c) / a0;
        highPass.b2 = highPass.b0;
    }
    for (uint32_t ch = 0; ch < channels; ++ch) {
        stage1Filters[ch] = highPass;
        stage2Filters[ch] = shelf;
    }
    return true;
}

void LoudnessAnalyzerImpl::SetBypass(bool bypass_)
{
    bypass = bypass_;
}

void LoudnessAnalyzerImpl::Reset()
{
    ResetResult(ReplayGainTrack);
    ResetResult(ReplayGainAlbum);
}

void LoudnessAnalyzerImpl::ResetResult(ReplayGainType type)
{
    if (type != ReplayGainTrack) {
        albumGating.Reset();
        albumPeak = 0.0f;
    } else {
        trackGating.Reset();
        trackPeak = 0.0f;
    }
}

void LoudnessAnalyzerImpl::GetResult(ReplayGainType type, ReplayGainInfo& info) const
{
    const bool album = type != ReplayGainTrack;
    const double loudness = (album ? albumGating : trackGating).Loudness();
    info.gain = float(GetReferenceLoudness() - loudness);
    info.peak = album ? albumPeak : trackPeak;
}

double LoudnessAnalyzerImpl::FilterChannel(const float* in, uint32_t frames, Stage& highPass,
                                           Stage& shelf, float& peak)
{
    const float hb0 = highPass.b0, hb1 = highPass.b1, hb2 = highPass.b2;
    const float ha1 = highPass.a1, ha2 = highPass.a2;
    const float sb0 = shelf.b0, sb1 = shelf.b1, sb2 = shelf.b2;
    const float sa1 = shelf.a1, sa2 = shelf.a2;
    float hx1 = highPass.x1, hx2 = highPass.x2, hy1 = highPass.y1, hy2 = highPass.y2;
    float sx1 = shelf.x1, sx2 = shelf.x2, sy1 = shelf.y1, sy2 = shelf.y2;
    float top = peak;
    double sum = 0.0;
    for (uint32_t n = 0; n < frames; ++n) {
        const float x = in[n];
        const float magnitude = std::fabs(x);
        top = magnitude > top ? magnitude : top;
        const float h = hb0 * x + hb1 * hx1 + hb2 * hx2 - ha1 * hy1 - ha2 * hy2;
        hx2 = hx1;
        hx1 = x;
        hy2 = hy1;
        hy1 = h;
        const float y = sb0 * h + sb1 * sx1 + sb2 * sx2 - sa1 * sy1 - sa2 * sy2;
        sx2 = sx1;
        sx1 = h;
        sy2 = sy1;
        sy1 = y;
        sum += double(y) * double(y);
    }
    highPass.x1 = hx1;
    highPass.x2 = hx2;
    highPass.y1 = hy1;
    highPass.y2 = hy2;
    shelf.x1 = sx1;
    shelf.x2 = sx2;
    shelf.y1 = sy1;
    shelf.y2 = sy2;
    peak = top;
    return sum;
}

void LoudnessAnalyzerImpl::Process(float* samples, bool* last, uint32_t* frames)
{
    if (bypass || !samples || !frames || !stage1Filters)
        return;
    const uint32_t total = *frames < maxFrames ? *frames : maxFrames;
    const bool ending = last && *last;
    float peak = 0.0f;
    uint32_t done = 0;
    while (done < total) {
        const uint32_t room = blockFrames - blockPosition;
        const uint32_t chunk = total - done < room ? total - done : room;
        double sum = 0.0;
        for (uint32_t ch = 0; ch < channels; ++ch)
            sum += FilterChannel(samples + size_t(ch) * maxFrames + done, chunk, stage1Filters[ch],
                                 stage2Filters[ch], peak);
        done += chunk;
        blockPosition += chunk;
        blockEnergy += sum;
        // The end of the stream measures the open block as a shorter one.
        if (blockPosition >= blockFrames || (ending && done == total)) {
            const double energy = blockEnergy / double(blockPosition);
            albumGating.AddBlockEnergy(energy);
            trackGating.AddBlockEnergy(energy);
            blockPosition = 0;
            blockEnergy = 0.0;
        }
    }
    if (peak > albumPeak)
        albumPeak = peak;
    if (peak > trackPeak)
        trackPeak = peak;
}
