// Umbrella header of lxaudioeffects.
#pragma once

#include "lxaudioeffects/AudioEffects.h"
#include "lxaudioeffects/AudioTypes.h"
#include "lxaudioeffects/Export.h"
#include "lxaudioeffects/LXAudioEffectsProcessor.h"
#include "lxaudioeffects/ReplayGainProcessor.h"
