#include "wrappers/DelayProcessorImpl.h"

#include <new>

DelayProcessor* DelayProcessor::Create()
{
    return new (std::nothrow) DelayProcessorImpl;
}

void DelayProcessorImpl::SetParams(const DelayEffectParams& params)
{
    SendParam(OV_DELAYFXPARAM_DELAYTIME_ID, params.Delay);
    SendParam(OV_DELAYFXPARAM_FEEDBACK_ID, params.Feedback);
    SendParam(OV_DELAYFXPARAM_DRYLEVEL_ID, params.DryLevel);
    SendParam(OV_DELAYFXPARAM_WETLEVEL_ID, params.WetLevel);
}
