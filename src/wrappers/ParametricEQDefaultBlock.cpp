#include "wrappers/ParametricEQDefaultBlock.h"

#include <cstring>

#include "sdk/plugins/OvParametricEQ/OvParametricEQFXParams.h"

namespace {

struct DefaultBlock {
    uint8_t bytes[OV_PARAMETRICEQ_BLOCK_BYTES] = {};

    DefaultBlock()
    {
        const OvParametricEQBandParams bands[3] = {
            {7, 0.0f, 120.0f, 0.5f, 1},
            {6, 0.0f, 1000.0f, 1.0f, 0},
            {8, 0.0f, 6000.0f, 0.5f, 1},
        };
        for (uint32_t n = 0; n < 3; ++n) {
            uint8_t* band = bytes + 17 * n;
            std::memcpy(band, &bands[n].FilterType, 4);
            std::memcpy(band + 4, &bands[n].fGain, 4);
            std::memcpy(band + 8, &bands[n].fFrequency, 4);
            std::memcpy(band + 12, &bands[n].fQ, 4);
            band[16] = bands[n].bOn;
        }
        const float outputGainDb = 0.0f;
        std::memcpy(bytes + 51, &outputGainDb, 4);
        bytes[55] = 0;  // LFE not processed
    }
};

}  // namespace

const uint8_t* ParametricEQDefaultBlock()
{
    static const DefaultBlock block;
    return block.bytes;
}
