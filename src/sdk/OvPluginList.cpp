#include "ov/OvPluginList.h"

#include "ov/OvCommonDefs.h"
#include "sdk/plugins/StereoEnhancer/StereoEnhancerEffect.h"
#include "sdk/plugins/StereoEnhancer/StereoEnhancerEffectParams.h"

OvPluginListNode* g_pOVPluginList = nullptr;

OvPluginListNode::OvPluginListNode(uint32_t in_uPluginType, uint32_t in_uCompanyID, uint32_t in_uPluginID,
                                   OvCreateEffectFn in_pCreateEffect, OvCreateEffectParamsFn in_pCreateParams)
    : pNext(g_pOVPluginList),
      uPluginType(in_uPluginType),
      uCompanyID(in_uCompanyID),
      uPluginID(in_uPluginID),
      pCreateEffect(in_pCreateEffect),
      pCreateParams(in_pCreateParams),
      pReserved{nullptr, nullptr, nullptr, nullptr}
{
    g_pOVPluginList = this;
}

// The one plug-in offered to an engine: the stereo enhancer, plug-in ID 182.
// Defined after the head, which it links itself into.
static OvPluginListNode s_stereoEnhancerNode(OV_PLUGIN_TYPE_EFFECT, 0, 182, &CreateStereoEnhancerEffect,
                                             &CreateStereoEnhancerEffectParams);
