#include "ShowcasePreset.h"

namespace lxfx {

const char* ShowcasePresetJson()
{
    return R"({
  "loudness": {"on": true, "gain": -2.0, "peak": 1.0},
  "reverb": {
    "on": true,
    "er": {"enable": true, "Pattern": 3, "RoomSize": 40.0, "SurroundDelay": 10.0},
    "rvb": {"PreDelay": 20.0, "DecayTime": 1.8, "HFDamping": 2.25, "Density": 80.0,
            "RoomShape": 100.0, "Quality": 8, "Diffusion": 100.0, "StereoWidth": 180.0},
    "outputLevel": {"Dry": 0.0, "ER": -14.0, "Reverb": -12.0}
  },
  "stereoEnhancer": {"on": true, "presence": 3.0, "stereoizer": 2.0, "spectrumShaper": true,
                     "ambience": 1},
  "rotate3D": {"on": true, "Velocity": 16.0},
  "spatialAudio": {"on": true, "FL": 0.0, "FR": 0.0, "Center": -3.0, "SL": -4.0, "SR": -4.0,
                   "RL": -6.0, "RR": -6.0, "LFE": -6.0, "Enhance": true},
  "graphEQ": {"on": true, "gains": [3.0, 2.0, 1.0, 0.0, -1.0, -1.0, 0.0, 1.0, 2.0, 2.5]},
  "bassTreble": {"on": true, "Bass": 2.0, "Treble": 1.5},
  "compressor": {"on": true, "Threshold": -20.0, "Ratio": 3.0, "Attack": 0.01, "Release": 0.25,
                 "Range": -12.0, "PreGain": 0.0, "PostGain": 3.0},
  "postCompressor": {"on": true, "Threshold": -10.0, "Ratio": 2.0, "Attack": 0.02,
                     "Release": 0.3, "Range": -6.0, "PreGain": 0.0, "PostGain": 0.0},
  "parametricEQ": {
    "on": true, "Gain": 0.0,
    "filters": [
      {"on": true, "FilterType": 7, "Gain": 2.0, "Freq": 80.0, "Q": 0.7},
      {"on": true, "FilterType": 6, "Gain": -3.0, "Freq": 400.0, "Q": 1.2},
      {"on": true, "FilterType": 6, "Gain": 2.0, "Freq": 3000.0, "Q": 1.0},
      {"on": true, "FilterType": 8, "Gain": 1.5, "Freq": 10000.0, "Q": 0.7}
    ]
  },
  "delay": {"on": true, "Delay": 375.0, "Feedback": 0.3, "DryLevel": 0.0, "WetLevel": -14.0},
  "vibrato": {"on": true, "Freq": 5.0, "Range": 0.1},
  "tremolo": {"on": true, "Freq": 4.0, "Range": 0.15},
  "limiter": {"on": true, "Threshold": -1.0, "Attack": 0.04, "Release": 0.08, "OutputGain": 0.0,
              "InfiniteRatio": true, "Ratio": 50.0}
})";
}

}  // namespace lxfx
