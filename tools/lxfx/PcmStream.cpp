#include "PcmStream.h"

namespace lxfx {

const char* SampleFormatName(AUDIO_SAMPLEFORMAT format)
{
    switch (format) {
    case AUDIO_SAMPLEFORMAT_U8: return "8-bit";
    case AUDIO_SAMPLEFORMAT_S16: return "16-bit";
    case AUDIO_SAMPLEFORMAT_S32: return "32-bit";
    case AUDIO_SAMPLEFORMAT_FLOAT: return "float";
    case AUDIO_SAMPLEFORMAT_DOUBLE: return "double";
    default: return "planar float";
    }
}

}  // namespace lxfx
