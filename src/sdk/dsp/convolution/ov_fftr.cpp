#include "sdk/dsp/convolution/ov_fftr.h"

#include <cmath>
#include <cstdint>

#include "ov/OvAssert.h"
#include "ov/OvCommonDefs.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

size_t RoundUp16(size_t in_uBytes)
{
    return (in_uBytes + OV_SIMD_ALIGNMENT - 1) & ~size_t(OV_SIMD_ALIGNMENT - 1);
}

size_t HeaderBytes()
{
    return RoundUp16(sizeof(ov_fftr_state));
}

size_t SuperTwiddleCount(int ncfft)
{
    return ncfft / 2 > 0 ? size_t(ncfft / 2) : 1;
}

}  // namespace

ov_fftr_cfg ov_fftr_alloc(int nfft, int inverse, void* mem, size_t* lenmem)
{
    OV_ASSERT(lenmem != NULL);
    if (!lenmem)
        return nullptr;
    if (nfft < 2 || (nfft & 1)) {
        OV_ASSERT_TEXT(false, "Real FFT optimization must be even.");
        return nullptr;
    }
    const int ncfft = nfft / 2;
    size_t uSubBytes = 0;
    ov_fft_alloc(ncfft, inverse, nullptr, &uSubBytes);
    if (uSubBytes == 0)
        return nullptr;
    int32_t factors[2 * OV_FFT_MAX_FACTORS];
    if (OV::FactorizeFft(ncfft, factors) == 0)
        return nullptr;

    const size_t uTmpBytes = RoundUp16(size_t(ncfft) * sizeof(ov_fft_cpx));
    const size_t uSuperBytes = RoundUp16(SuperTwiddleCount(ncfft) * sizeof(ov_fft_cpx));
    const size_t uNeeded = HeaderBytes() + uSubBytes + uTmpBytes + uSuperBytes;
    const size_t uGiven = *lenmem;
    *lenmem = uNeeded;
    if (!mem || uGiven < uNeeded || (reinterpret_cast<uintptr_t>(mem) % OV_SIMD_ALIGNMENT) != 0)
        return nullptr;

    uint8_t* pBytes = static_cast<uint8_t*>(mem);
    ov_fftr_state* st = reinterpret_cast<ov_fftr_state*>(pBytes);
    size_t uSub = uSubBytes;
    st->substate = ov_fft_alloc(ncfft, inverse, pBytes + HeaderBytes(), &uSub);
    if (!st->substate)
        return nullptr;
    st->tmpbuf = reinterpret_cast<ov_fft_cpx*>(pBytes + HeaderBytes() + uSubBytes);
    st->super_twiddles = reinterpret_cast<ov_fft_cpx*>(pBytes + HeaderBytes() + uSubBytes + uTmpBytes);
    OV_ASSERT((reinterpret_cast<uintptr_t>(st->tmpbuf) % OV_SIMD_ALIGNMENT) == 0);
    OV_ASSERT((reinterpret_cast<uintptr_t>(st->super_twiddles) % OV_SIMD_ALIGNMENT) == 0);

    st->super_twiddles[0] = {1.0f, 0.0f};
    for (int i = 0; i < ncfft / 2; ++i) {
        double dPhase = kPi * (double(i + 1) / double(ncfft) + 0.5);
        if (!inverse)
            dPhase = -dPhase;
        st->super_twiddles[i] = {float(std::cos(dPhase)), float(std::sin(dPhase))};
    }
    return st;
}

void ov_fftr(ov_fftr_cfg st, const float* timedata, ov_fft_cpx* freqdata)
{
    if (!st || !timedata || !freqdata)
        return;
    OV_ASSERT(st->substate->inverse == 0);
    const int ncfft = st->substate->nfft;
    // The samples in pairs are the complex input.
    ov_fft(st->substate, reinterpret_cast<const ov_fft_cpx*>(timedata), st->tmpbuf);
    const ov_fft_cpx* t = st->tmpbuf;
    const ov_fft_cpx* tw = st->super_twiddles;

    const ov_fft_cpx dc = t[0];
    freqdata[0] = {dc.r + dc.i, 0.0f};
    freqdata[ncfft] = {dc.r - dc.i, 0.0f};
    // Bin k and its mirror from one pair; the middle bin comes out of both
    // halves with the same value.
    for (int k = 1; k <= ncfft / 2; ++k) {
        const ov_fft_cpx fpk = t[k];
        const ov_fft_cpx fpnk = {t[ncfft - k].r, -t[ncfft - k].i};
        const ov_fft_cpx f1k = {fpk.r + fpnk.r, fpk.i + fpnk.i};
        const ov_fft_cpx f2k = {fpk.r - fpnk.r, fpk.i - fpnk.i};
        const ov_fft_cpx w = tw[k - 1];
        const ov_fft_cpx tk = {f2k.r * w.r - f2k.i * w.i, f2k.r * w.i + f2k.i * w.r};
        freqdata[k] = {0.5f * (f1k.r + tk.r), 0.5f * (f1k.i + tk.i)};
        freqdata[ncfft - k] = {0.5f * (f1k.r - tk.r), 0.5f * (tk.i - f1k.i)};
    }
}

void ov_fftri(ov_fftr_cfg st, const ov_fft_cpx* freqdata, float* timedata)
{
    if (!st || !timedata || !freqdata)
        return;
    OV_ASSERT(st->substate->inverse != 0);
    const int ncfft = st->substate->nfft;
    ov_fft_cpx* tmp = st->tmpbuf;
    const ov_fft_cpx* tw = st->super_twiddles;

    tmp[0] = {freqdata[0].r + freqdata[ncfft].r, freqdata[0].r - freqdata[ncfft].r};
    for (int k = 1; k <= ncfft / 2; ++k) {
        const ov_fft_cpx fk = freqdata[k];
        const ov_fft_cpx fnkc = {freqdata[ncfft - k].r, -freqdata[ncfft - k].i};
        const ov_fft_cpx fek = {fk.r + fnkc.r, fk.i + fnkc.i};
        const ov_fft_cpx d = {fk.r - fnkc.r, fk.i - fnkc.i};
        const ov_fft_cpx w = tw[k - 1];
        const ov_fft_cpx fok = {d.r * w.r - d.i * w.i, d.r * w.i + d.i * w.r};
        tmp[k] = {fek.r + fok.r, fek.i + fok.i};
        tmp[ncfft - k] = {fek.r - fok.r, fok.i - fek.i};
    }
    ov_fft(st->substate, tmp, reinterpret_cast<ov_fft_cpx*>(timedata));
}
