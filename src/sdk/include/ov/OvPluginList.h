// The static list of plug-ins this library offers to an engine, headed by the
// exported pointer g_pOVPluginList. A node links itself at the head when it is
// constructed, so a plug-in joins by defining one static node:
//
//   static OvPluginListNode s_stereoEnhancerNode(OV_PLUGIN_TYPE_EFFECT, 0, 182,
//                                                &CreateStereoEnhancerEffect,
//                                                &CreateStereoEnhancerEffectParams);
//
// The wrappers do not use the list: they construct their plug-ins directly.
#pragma once

#include <cstdint>

#include "lxaudioeffects/Export.h"

class IOvMemAlloc;
class IOvEffect;
class IOvEffectParams;

typedef IOvEffect* (*OvCreateEffectFn)(IOvMemAlloc* in_pAllocator);
typedef IOvEffectParams* (*OvCreateEffectParamsFn)(IOvMemAlloc* in_pAllocator);

struct OvPluginListNode {
    OvPluginListNode(uint32_t in_uPluginType, uint32_t in_uCompanyID, uint32_t in_uPluginID,
                     OvCreateEffectFn in_pCreateEffect, OvCreateEffectParamsFn in_pCreateParams);

    OvPluginListNode* pNext;
    uint32_t uPluginType;
    uint32_t uCompanyID;
    uint32_t uPluginID;
    OvCreateEffectFn pCreateEffect;
    OvCreateEffectParamsFn pCreateParams;
    // Engine hooks this library does not offer; always null.
    void* pReserved[4];
};

// Head of the list; null while no plug-in has registered.
extern "C" LXFX_API OvPluginListNode* g_pOVPluginList;
