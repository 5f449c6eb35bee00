// The rotate 3D engine in its plain form, step by step, for the tests to
// hold Rotate3DEngine against: complex 1024-point transforms (two forward,
// four inverse), six spectra, four overlap arrays, the per-ear sums in time.
// Optionally without its sum or difference path, for the tests that look
// at one of them alone.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "common/FFmpegFft.h"
#include "effects/Rotate3DResponses.h"

namespace rotate3dtest {

class PlainRotate3D {
public:
    bool withSum = true;
    bool withDifference = true;

    PlainRotate3D()
        : fftForward(FFmpegComplexFft::Create(10)),
          fftInverse(FFmpegComplexFft::Create(10)),
          buffers(static_cast<FftComplex*>(AllocateFftBuffer(6 * kPoints * sizeof(FftComplex))))
    {
        mid = buffers;
        side = mid + kPoints;
        midLeft = side + kPoints;
        midRight = midLeft + kPoints;
        sideLeft = midRight + kPoints;
        sideRight = sideLeft + kPoints;
    }
    ~PlainRotate3D()
    {
        fftForward->Destroy();
        fftInverse->Destroy();
        FreeFftBuffer(buffers);
    }
    PlainRotate3D(const PlainRotate3D&) = delete;
    PlainRotate3D& operator=(const PlainRotate3D&) = delete;

    void SetVelocity(float velocity)
    {
        angleStep = float((256.0 / 44100.0 * 360.0) / double(velocity));
    }
    void SetAngle(float degrees) { angle = degrees; }
    float Angle() const { return angle; }

    // One block in place, n <= 256 frames; returns the frames given out.
    uint32_t Process(float* l, float* r, uint32_t n)
    {
        // 1. Sum and difference into the real parts, zeros after.
        for (uint32_t i = 0; i < kPoints; ++i)
            mid[i] = side[i] = FftComplex{0.0f, 0.0f};
        for (uint32_t i = 0; i < n; ++i) {
            mid[i].re = float(double(l[i] + r[i]) * 0.707);
            side[i].re = float(double(l[i] - r[i]) * 0.707);
        }
        // 2.
        fftForward->Forward(mid);
        fftForward->Forward(side);
        // 3.
        const float p = angle / 5.0f;
        int i0 = int(std::floor(p));
        int i1 = i0 + 1;
        const float w = float(i1) - p;
        // 4.
        const float* leftA;
        const float* leftB;
        const float* rightA;
        const float* rightB;
        if (angle < 180.0f) {
            leftA = kRotate3DFarEar[i0], leftB = kRotate3DFarEar[i1];
            rightA = kRotate3DNearEar[i0], rightB = kRotate3DNearEar[i1];
        } else {
            i0 = 72 - i0, i1 = 72 - i1;
            leftA = kRotate3DNearEar[i0], leftB = kRotate3DNearEar[i1];
            rightA = kRotate3DFarEar[i0], rightB = kRotate3DFarEar[i1];
        }
        lastRows[0] = i0, lastRows[1] = i1;
        lastMirrored = !(angle < 180.0f);
        const float* g = kRotate3DNearEar[kRotate3DSideRow];
        // 5.
        for (uint32_t k = 0; k <= 512; ++k) {
            const FftComplex hl = {w * leftA[2 * k] + (1.0f - w) * leftB[2 * k],
                                   w * leftA[2 * k + 1] + (1.0f - w) * leftB[2 * k + 1]};
            const FftComplex hr = {w * rightA[2 * k] + (1.0f - w) * rightB[2 * k],
                                   w * rightA[2 * k + 1] + (1.0f - w) * rightB[2 * k + 1]};
            const FftComplex gk = {g[2 * k], g[2 * k + 1]};
            const FftComplex negSide = {-side[k].re, -side[k].im};
            midLeft[k] = Multiply(mid[k], hl);
            midRight[k] = Multiply(mid[k], hr);
            sideLeft[k] = Multiply(side[k], gk);
            sideRight[k] = Multiply(negSide, gk);
        }
        // 6.
        for (FftComplex* y : {midLeft, midRight, sideLeft, sideRight})
            for (uint32_t k = 513; k < kPoints; ++k)
                y[k] = FftComplex{y[kPoints - k].re, -y[kPoints - k].im};
        // 7.
        for (FftComplex* y : {midLeft, midRight, sideLeft, sideRight})
            fftInverse->Inverse(y);
        const float ms = withSum ? 1.0f : 0.0f, ds = withDifference ? 1.0f : 0.0f;
        // 8.
        for (uint32_t i = 0; i < n; ++i) {
            l[i] = ms * (midLeft[i].re / 1024.0f + overlapMidLeft[i]) + ds * (sideLeft[i].re / 1024.0f + overlapSideLeft[i]);
            r[i] = ms * (midRight[i].re / 1024.0f + overlapMidRight[i]) +
                   ds * (sideRight[i].re / 1024.0f + overlapSideRight[i]);
        }
        // 9.
        for (uint32_t i = 0; i < 256; ++i) {
            overlapMidLeft[i] = midLeft[i + 256].re / 1024.0f;
            overlapMidRight[i] = midRight[i + 256].re / 1024.0f;
            overlapSideLeft[i] = sideLeft[i + 256].re / 1024.0f;
            overlapSideRight[i] = sideRight[i + 256].re / 1024.0f;
        }
        // 10.
        angle = float(std::fmod(double(angle + angleStep), 360.0));
        // 11.
        if (warmupCount < 1) {
            ++warmupCount;
            return 0;
        }
        return n;
    }

    int lastRows[2] = {0, 0};
    bool lastMirrored = false;

private:
    static constexpr uint32_t kPoints = 1024;

    static FftComplex Multiply(FftComplex a, FftComplex b)
    {
        return FftComplex{a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
    }

    FFmpegComplexFft* fftForward;
    FFmpegComplexFft* fftInverse;
    FftComplex* buffers;
    FftComplex *mid, *side, *midLeft, *midRight, *sideLeft, *sideRight;
    float overlapMidLeft[256] = {}, overlapMidRight[256] = {}, overlapSideLeft[256] = {}, overlapSideRight[256] = {};
    float angle = 0.0f;
    float angleStep = float((256.0 / 44100.0 * 360.0) / 40.0);
    uint32_t warmupCount = 0;
};

}  // namespace rotate3dtest
