#include "wrappers/ParametricEQDefaultBlock.h"

#include "sdk/plugins/OvParametricEQ/OvParametricEQFXParams.h"

namespace {

struct DefaultBlock {
    uint8_t bytes[OV_PARAMETRICEQ_BLOCK_BYTES] = {};

    DefaultBlock()
    {
        const OvParametricEQFXParams::BlockValues values = {
            {
                {7, 0.0f, 120.0f, 0.5f, 1},
                {6, 0.0f, 1000.0f, 1.0f, 0},
                {8, 0.0f, 6000.0f, 0.5f, 1},
            },
            0.0f,  // output gain, dB
            0,     // LFE not processed
        };
        OvParametricEQFXParams::PackBlock(values, bytes);
    }
};

}  // namespace

const uint8_t* ParametricEQDefaultBlock()
{
    static const DefaultBlock block;
    return block.bytes;
}
