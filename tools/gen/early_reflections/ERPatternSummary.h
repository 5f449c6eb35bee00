// What is known of the room reverb's 31 early-reflection patterns, measured
// from impulse responses at 48 kHz: per row the name, the tap counts of the
// left and right sets, the earliest and the latest tap of the pattern in ms
// (rounded to four decimals), the range all gains lie in, and the taps that
// were published in full (the first six per side of "Large Room", the left
// set of "Cathedral"). Every tap time is a whole number of 1/48 ms steps.
// The generator fills in the rest from this; the table test checks the
// generated rows against it.
#pragma once

#include <cstdint>

namespace ergen {

constexpr double kStepsPerMs = 48.0;
constexpr float kMinGain = -0.4192f;
constexpr float kMaxGain = 0.6761f;

struct RowSummary {
    const char* name;
    uint32_t numLeft;
    uint32_t numRight;
    double firstMs;
    double lastMs;
};

constexpr RowSummary kRows[31] = {
    {"Bright Chamber", 63, 63, 0.0208, 96.7292},   {"Dark Chamber", 31, 31, 0.0208, 99.8958},
    {"Concrete Venue 1", 47, 50, 0.0208, 99.0417}, {"Concrete Venue 2", 47, 48, 0.0208, 99.0417},
    {"Night Club", 64, 64, 22.75, 93.8125},        {"Warehouse", 44, 47, 0.0208, 99.9792},
    {"Small Church", 63, 64, 43.3333, 142.8958},   {"Medium Church", 59, 61, 50.0833, 150.0},
    {"Large Church", 48, 50, 63.1875, 162.8333},   {"Cathedral", 8, 9, 65.8958, 164.6875},
    {"Short Dark Hall", 64, 64, 0.0208, 67.5833},  {"Long Dark Hall", 39, 38, 0.0208, 98.6875},
    {"Bright Hall", 38, 37, 11.9583, 111.7083},    {"Small Hall", 44, 49, 0.0208, 42.6042},
    {"Medium Hall", 64, 64, 0.0208, 99.9583},      {"Large Hall", 32, 34, 29.3542, 124.0417},
    {"Lecture Hall", 38, 38, 0.0208, 98.6875},     {"Recital Hall", 34, 38, 11.3125, 105.8333},
    {"Small Plate", 64, 64, 3.6875, 40.2917},      {"Medium Plate", 64, 64, 3.6875, 40.2917},
    {"Large Plate", 64, 64, 3.6875, 39.6875},      {"Vocal Plate", 56, 59, 7.3958, 105.9583},
    {"Small Room", 64, 64, 11.5833, 82.9792},      {"Large Room", 63, 63, 27.75, 125.9792},
    {"Bathroom", 59, 57, 0.0208, 60.5833},         {"Bedroom", 47, 49, 0.0208, 18.7083},
    {"Tiled Room", 64, 64, 21.6875, 99.4167},      {"Phone Booth", 64, 64, 3.9167, 45.8333},
    {"Pool", 61, 61, 31.6458, 129.1875},           {"Gym", 61, 61, 28.375, 124.8333},
    {"Garage", 64, 64, 17.2708, 97.5},
};

struct KnownTap {
    double timeMs;
    float gain;
};

struct KnownTaps {
    uint32_t row;
    bool right;
    uint32_t count;
    KnownTap taps[8];
};

// The leading taps of a side, as published.
constexpr KnownTaps kKnownTaps[] = {
    {23, false, 6, {{27.75, 0.3889f}, {27.7708, 0.1218f}, {27.7917, 0.0528f}, {29.25, 0.6202f},
                    {29.2708, 0.1948f}, {29.2917, 0.0851f}}},
    {23, true, 6, {{27.75, 0.5332f}, {27.7708, 0.1678f}, {27.7917, 0.0729f}, {30.75, 0.3428f},
                   {30.7708, 0.1075f}, {32.25, -0.2732f}}},
    {9, false, 8, {{65.8958, 0.5938f}, {67.3958, 0.676f}, {68.8958, -0.3875f}, {70.3958, 0.2215f},
                   {71.8958, -0.1256f}, {150.7083, 0.2293f}, {152.2083, 0.2637f}, {153.7083, -0.1503f}}},
};

}  // namespace ergen
