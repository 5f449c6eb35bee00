#include "DemoSignal.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace lxfx {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kBeatS = 0.5;  // 120 BPM
constexpr double kBarS = 4 * kBeatS;

double MidiToHz(int note)
{
    return 440.0 * std::pow(2.0, (note - 69) / 12.0);
}

// Deterministic white noise in [-1, 1).
class Noise {
public:
    double Next()
    {
        state = state * 1664525u + 1013904223u;
        return double(state >> 8) / double(1u << 23) - 1.0;
    }

private:
    uint32_t state = 0x1234567u;
};

struct Chord {
    int bassNote;
    int voices[3];
};

// C, G, Am, F.
const Chord kProgression[4] = {
    {36, {60, 64, 67}},
    {43, {59, 62, 67}},
    {45, {57, 60, 64}},
    {41, {57, 60, 65}},
};

// Adds a mono source at a pan position from 0 (left) to 1 (right), equal power.
void AddPanned(std::vector<float>& out, size_t frame, double value, double pan)
{
    out[2 * frame] += float(value * std::cos(pan * kPi / 2));
    out[2 * frame + 1] += float(value * std::sin(pan * kPi / 2));
}

}  // namespace

DemoSignal::DemoSignal()
{
    const size_t frames = size_t(kDurationS * kSampleRate);
    samples.assign(frames * 2, 0.0f);
    Noise noise;
    double hatState = 0.0;
    const double endOfMusicS = kDurationS - 1.5;
    const double fadeStartS = endOfMusicS - 2.0;

    for (size_t i = 0; i < frames; ++i) {
        const double t = double(i) / kSampleRate;
        if (t >= endOfMusicS)
            break;
        const double fade = t < fadeStartS ? 1.0 : (endOfMusicS - t) / (endOfMusicS - fadeStartS);
        const Chord& chord = kProgression[size_t(t / kBarS) % 4];
        const double inBeat = std::fmod(t, kBeatS);
        const double inEighth = std::fmod(t, kBeatS / 2);
        const int beat = int(t / kBeatS) % 4;
        const int eighth = int(t / (kBeatS / 2)) % 8;

        // Bass: root and octave in eighths, a saw of four partials.
        const int bassNote = chord.bassNote + ((eighth == 3 || eighth == 6) ? 12 : 0);
        const double bassHz = MidiToHz(bassNote);
        double bass = 0.0;
        for (int k = 1; k <= 4; ++k)
            bass += std::sin(2 * kPi * bassHz * k * t) / k;
        bass *= 0.22 * std::exp(-inEighth * 5.0) * std::min(1.0, inEighth * 400.0);
        AddPanned(samples, i, bass * fade, 0.45);

        // Pads: the three chord voices, slightly detuned, placed left, centre, right.
        const double inBar = std::fmod(t, kBarS);
        const double padEnvelope = std::min(1.0, inBar / 0.08) * (0.6 + 0.4 * std::exp(-inBar));
        for (int v = 0; v < 3; ++v) {
            const double hz = MidiToHz(chord.voices[v]) * (1.0 + 0.0015 * (v - 1));
            const double voice = std::sin(2 * kPi * hz * t) + 0.3 * std::sin(4 * kPi * hz * t);
            AddPanned(samples, i, 0.06 * padEnvelope * voice * fade, 0.15 + 0.35 * v);
        }

        // Arpeggio over the chord an octave up, panning slowly across the field.
        const int step = int(t / (kBeatS / 4)) % 4;
        const int arpNote = step == 3 ? chord.voices[1] + 24 : chord.voices[step] + 12;
        const double inStep = std::fmod(t, kBeatS / 4);
        const double arpHz = MidiToHz(arpNote);
        const double arp = (std::sin(2 * kPi * arpHz * t) + 0.2 * std::sin(6 * kPi * arpHz * t)) *
                           0.07 * std::exp(-inStep * 18.0) * std::min(1.0, inStep * 800.0);
        AddPanned(samples, i, arp * fade, 0.5 + 0.45 * std::sin(2 * kPi * 0.125 * t));

        // Kick on beats 1 and 3: a falling sine.
        if (beat == 0 || beat == 2) {
            const double phase = 2 * kPi * (50.0 * inBeat + 90.0 / 30.0 * (1 - std::exp(-30 * inBeat)));
            AddPanned(samples, i, 0.45 * std::sin(phase) * std::exp(-inBeat * 9.0) * fade, 0.5);
        }
        // Snare on beats 2 and 4: noise and a short tone.
        const double white = noise.Next();
        if (beat == 1 || beat == 3) {
            const double snare = (0.6 * white + 0.4 * std::sin(2 * kPi * 185.0 * inBeat)) *
                                 std::exp(-inBeat * 22.0);
            AddPanned(samples, i, 0.22 * snare * fade, 0.4);
        }
        // Hi-hat click on every eighth: high-passed noise with a fast decay.
        const double highPassed = white - hatState;
        hatState = white;
        const double accent = eighth % 2 ? 0.6 : 1.0;
        AddPanned(samples, i, 0.07 * accent * highPassed * std::exp(-inEighth * 70.0) * fade, 0.75);
    }
}

StreamFormat DemoSignal::Format() const
{
    StreamFormat format;
    format.sampleFormat = AUDIO_SAMPLEFORMAT_FLOAT;
    format.channels = 2;
    format.sampleRate = kSampleRate;
    return format;
}

size_t DemoSignal::Read(void* frames, size_t count)
{
    const size_t n = std::min(count, Frames() - position);
    std::memcpy(frames, samples.data() + 2 * position, n * 2 * sizeof(float));
    position += n;
    return n;
}

}  // namespace lxfx
