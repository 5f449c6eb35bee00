#include "ov/OvPluginList.h"

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
