// Writes the fuzzer's seed corpus into the folder given: valid and broken
// impulse images of every format the reader takes, each behind a rate byte.
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "FuzzInput.h"
#include "common/WavImage.h"
#include "ov/OvMemAllocDefault.h"
#include "sdk/dsp/convolution/OvFreqDataWriter.h"

namespace {

std::vector<uint8_t> Samples(uint32_t bits, uint32_t count)
{
    WavImage w;
    for (uint32_t i = 0; i < count; ++i) {
        const double x = std::exp(-0.2 * i) * ((i % 3) ? 0.5 : -0.7);
        if (bits == 8)
            w.bytes.push_back(uint8_t(128 + x * 127));
        else if (bits == 16)
            w.U16(uint32_t(int32_t(x * 32767)) & 0xffff);
        else if (bits == 24)
            for (int b = 0; b < 3; ++b)
                w.bytes.push_back(uint8_t(uint32_t(int32_t(x * 8388607)) >> (8 * b)));
        else
            w.U32(uint32_t(int32_t(x * 2147483647.0)));
    }
    return w.bytes;
}

void Write(const std::string& folder, const std::string& name, uint8_t rateSelector, std::vector<uint8_t> image)
{
    image.insert(image.begin(), rateSelector);
    FILE* f = std::fopen((folder + "/" + name).c_str(), "wb");
    if (!f)
        return;
    std::fwrite(image.data(), 1, image.size(), f);
    std::fclose(f);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s SEED_FOLDER\n", argv[0]);
        return 2;
    }
    const std::string folder = argv[1];
    int n = 0;
    for (uint32_t channels : {1u, 2u}) {
        for (uint32_t bits : {8u, 16u, 24u, 32u}) {
            const auto data = Samples(bits, 24 * channels);
            const int index = n++;
            Write(folder, "pcm" + std::to_string(index), uint8_t(n),
                  Riff(WavImage().Fmt(1, channels, 44100 + 3900 * (bits / 8), bits).Data(data)));
        }
        std::vector<float> floats;
        for (int i = 0; i < 24 * int(channels); ++i)
            floats.push_back(float(std::exp(-0.3 * i)));
        const auto data = FloatBytes(floats);
        Write(folder, "float" + std::to_string(n++), 1, Riff(WavImage().Fmt(3, channels, 48000, 32).Data(data)));
        // "data" before "fmt ", then a headphone trailer behind the RIFF.
        auto image = Riff(WavImage().Data(data).Fmt(3, channels, 32000, 32));
        WavImage trailer;
        trailer.Tag("LXHG").U32(0).F32(-3.0f).F32(2.5f);
        image.insert(image.end(), trailer.bytes.begin(), trailer.bytes.end());
        Write(folder, "trailer" + std::to_string(n++), 0, image);
        image.resize(image.size() / 2);
        Write(folder, "truncated" + std::to_string(n++), 2, image);
    }
    Write(folder, "extensible", 0, Riff(WavImage().Fmt(0xfffe, 2, 44100, 16, 40).Data(Samples(16, 8))));
    Write(folder, "oversized", 1, Riff(WavImage().Fmt(1, 1, 44100, 16).Data(Samples(16, 8), 1u << 30)));
    // Headphone images: mono, with an odd LIST chunk and its pad byte first.
    for (uint32_t bits : {16u, 24u})
        Write(folder, "headphone" + std::to_string(bits), uint8_t(bits),
              Riff(WavImage().Tag("LIST").U32(3).Raw({1, 2, 3, 0}).Fmt(1, 1, 44100, bits).Data(Samples(bits, 40))));
    // Frequency data blocks, for their validation: small partitions, each
    // stamped with the rate its selector byte picks.
    for (uint32_t block : {4u, 8u, 16u}) {
        const uint8_t selector = uint8_t(block % kFuzzStreamRateCount);
        std::vector<float> impulse(3 * block + 1, 0.25f);
        uint32_t bytes = 0;
        uint8_t* data = OV::WriteFreqData(OV::DefaultAllocator(), impulse.data(), uint32_t(impulse.size()), block,
                                          FuzzStreamRate(selector), &bytes);
        if (data)
            Write(folder, "freqdata" + std::to_string(block), selector, std::vector<uint8_t>(data, data + bytes));
        OV::DefaultAllocator()->Free(data);
    }
    return 0;
}
