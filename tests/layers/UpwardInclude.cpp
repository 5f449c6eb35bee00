// Must not compile: the effects layer cannot see the front end above it.
#include "frontend/AudioEffectsImpl.h"
