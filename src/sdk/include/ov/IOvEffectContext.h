// What an effect plug-in is given at Init: the plug-in services and the way
// to the global context (block length, sample rate, allocator).
#pragma once

#include "ov/IOvPluginContextBase.h"

class IOvEffectContext : public IOvPluginContextBase {
public:
    // Whether the effect runs in a send rather than an insert; always false here.
    virtual bool IsSendModeEffect() const = 0;
};
