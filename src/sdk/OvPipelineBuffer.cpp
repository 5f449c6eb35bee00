#include "ov/OvPipelineBuffer.h"

#include <cstring>

void OvPipelineBuffer::PadToMaxFrames()
{
    OV_ASSERT(uValidFrames <= MaxFrames());
    if (m_pData && uValidFrames < m_uMaxFrames) {
        const size_t uPadFrames = size_t(m_uMaxFrames) - uValidFrames;
        for (uint32_t i = 0; i < NumChannels(); ++i)
            std::memset(m_pData + size_t(i) * m_uMaxFrames + uValidFrames, 0, uPadFrames * sizeof(float));
    }
    uValidFrames = m_uMaxFrames;
}
