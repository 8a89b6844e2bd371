// Stereo equaliser. The peaking and low shelf designs are the usual bilinear
// ones with A = 9 to the gain; the high shelf takes the hyperbolic sine of A
// itself for its slope term, which is how this module has always sounded.
// Each channel settles and stops streaming on its own.
#include "sound/SemParametricEQ.h"

#include <cmath>

using namespace tam::filters;

namespace {

template <int Type, int Law>
BiquadCoefficients designEq(float frequency, float bandwidth, float gain, double sampleRate) {
    const double hz = biquadHz<Law>(frequency);
    const double w = hz * kTwoPi / sampleRate;
    const double a = std::pow(9.0, static_cast<double>(gain));
    const double s = bandwidth < 0.002f ? 0.002 : std::min(1.0, static_cast<double>(bandwidth));
    const double sn = std::sin(w);
    const double cs = std::cos(w);
    const double m = a - 1.0;
    const double t = m * cs;
    double b0, b1, b2, a0, a1, a2;
    if constexpr (Type == SemParametricEQ::kHighShelf) {
        const double beta = std::sinh(a) / s;
        const double u = 1.0 + a + t;
        const double v = sn * beta;
        const double n = 1.0 + a - t;
        b0 = (u + v) * a;
        b1 = (m + cs * (1.0 + a)) * (-2.0 * a);
        b2 = (u - v) * a;
        a0 = n + v;
        a1 = 2.0 * (m - cs * (1.0 + a));
        a2 = n - v;
    } else if constexpr (Type == SemParametricEQ::kLowShelf) {
        const double alpha = std::sqrt((1.0 / s - 1.0) * (1.0 / a + a) + 2.0) * sn * 0.5;
        const double v = 2.0 * std::sqrt(a) * alpha;
        const double n = a + 1.0 - t;
        const double u = t + a + 1.0;
        b0 = (n + v) * a;
        b1 = (m - cs * (a + 1.0)) * 2.0 * a;
        b2 = (n - v) * a;
        a0 = u + v;
        a1 = (cs * (a + 1.0) + m) * -2.0;
        a2 = u - v;
    } else {
        const double alpha = std::sinh(s * 0.3465736 * w / sn) * sn;
        b0 = 1.0 + a * alpha;
        b1 = -2.0 * cs;
        b2 = 1.0 - a * alpha;
        a0 = 1.0 + alpha / a;
        a1 = -2.0 * cs;
        a2 = 1.0 - alpha / a;
    }
    return {static_cast<float>(b0 / a0), static_cast<float>(b1 / a0), static_cast<float>(b2 / a0),
            static_cast<float>(a1 / a0), static_cast<float>(a2 / a0)};
}

template <typename F>
void withEqType(int type, F&& f) {
    switch (type) {
        case SemParametricEQ::kLowShelf: f(std::integral_constant<int, SemParametricEQ::kLowShelf>{}); break;
        case SemParametricEQ::kHighShelf: f(std::integral_constant<int, SemParametricEQ::kHighShelf>{}); break;
        default: f(std::integral_constant<int, SemParametricEQ::kPeaking>{}); break;
    }
}

}  // namespace

SemParametricEQ::SemParametricEQ(gmpi::IMpUnknown* host) : MpBase(host) {
    initializePin(0, leftIn);
    initializePin(1, rightIn);
    initializePin(2, activePin);
    initializePin(3, typePin);
    initializePin(4, gainIn);
    initializePin(5, frequencyIn);
    initializePin(6, bandwidthIn);
    initializePin(7, leftOut);
    initializePin(8, rightOut);
    initializePin(9, pitchModePin);
}

int32_t SemParametricEQ::open() {
    sampleRate = usableSampleRate(getSampleRate());
    for (int c = 0; c < 2; ++c) x1[c] = x2[c] = y1[c] = y2[c] = 0.0f;
    checkCounter = 0;
    staticFlag = false;
    return MpBase::open();
}

void SemParametricEQ::process(int32_t count, const gmpi::MpEvent* events) {
    FlushToZeroScope flushToZero;
    MpBase::process(count, events);
}

void SemParametricEQ::calcCoefficients(int type, float frequency, float bandwidth, float gain, int pitchMode, float& b0,
                                       float& b1, float& b2, float& a1, float& a2) const {
    BiquadCoefficients c;
    withEqType(type, [&](auto t) {
        withPitchLaw(pitchLawOf(pitchMode), [&](auto law) {
            c = designEq<decltype(t)::value, decltype(law)::value>(frequency, bandwidth, gain, sampleRate);
        });
    });
    b0 = c.c0;
    b1 = c.c1;
    b2 = c.c2;
    a1 = c.c3;
    a2 = c.c4;
}

void SemParametricEQ::onSetPins() {
    if (frequencyIn.isUpdated() || bandwidthIn.isUpdated() || gainIn.isUpdated() || pitchModePin.isUpdated() ||
        typePin.isUpdated()) {
        calcCoefficients(typePin.getValue(), frequencyIn.getValue(), bandwidthIn.getValue(), gainIn.getValue(),
                         pitchModePin.getValue(), coefficients.c0, coefficients.c1, coefficients.c2, coefficients.c3,
                         coefficients.c4);
    }

    leftActive = rightActive = true;
    leftOut.setStreaming(true, -1);
    rightOut.setStreaming(true, -1);
    staticFlag = false;

    if (activePin.getValue() == 1) {
        if (frequencyIn.isStreaming() || bandwidthIn.isStreaming() || gainIn.isStreaming()) {
            setSubProcess(&SemParametricEQ::subProcess);
        } else {
            setSubProcess(&SemParametricEQ::subProcessFixed);
        }
    } else {
        setSubProcess(&SemParametricEQ::subProcessBypass);
    }

    if (!leftIn.isStreaming() && !rightIn.isStreaming() && !gainIn.isStreaming() && !frequencyIn.isStreaming() &&
        !bandwidthIn.isStreaming()) {
        checkCounter = std::max(checkCounter, 2);
    }
}

// Calls f with the channel flags as constants; only active channels run.
template <typename F>
void SemParametricEQ::withChannels(F&& f) {
    if (leftActive && rightActive) {
        f(std::true_type{}, std::true_type{});
    } else if (leftActive) {
        f(std::true_type{}, std::false_type{});
    } else if (rightActive) {
        f(std::false_type{}, std::true_type{});
    }
}

template <bool Left, bool Right>
void SemParametricEQ::fixedKernel(int bufferOffset, int sampleFrames) {
    const float* __restrict inL = leftIn.getBuffer() + bufferOffset;
    const float* __restrict inR = rightIn.getBuffer() + bufferOffset;
    float* __restrict outL = leftOut.getBuffer() + bufferOffset;
    float* __restrict outR = rightOut.getBuffer() + bufferOffset;
    const BiquadCoefficients c = coefficients;
    float lx1 = x1[0], lx2 = x2[0], ly1 = y1[0], ly2 = y2[0];
    float rx1 = x1[1], rx2 = x2[1], ry1 = y1[1], ry2 = y2[1];
    for (int i = 0; i < sampleFrames; ++i) {
        if constexpr (Left) outL[i] = biquadStep(c, inL[i], lx1, lx2, ly1, ly2);
        if constexpr (Right) outR[i] = biquadStep(c, inR[i], rx1, rx2, ry1, ry2);
    }
    x1[0] = lx1, x2[0] = lx2, y1[0] = ly1, y2[0] = ly2;
    x1[1] = rx1, x2[1] = rx2, y1[1] = ry1, y2[1] = ry2;
}

template <int Type, int Law, bool Left, bool Right>
void SemParametricEQ::modulatedKernel(int bufferOffset, int sampleFrames) {
    const float* __restrict inL = leftIn.getBuffer() + bufferOffset;
    const float* __restrict inR = rightIn.getBuffer() + bufferOffset;
    const float* __restrict gain = gainIn.getBuffer() + bufferOffset;
    const float* __restrict frequency = frequencyIn.getBuffer() + bufferOffset;
    const float* __restrict bandwidth = bandwidthIn.getBuffer() + bufferOffset;
    float* __restrict outL = leftOut.getBuffer() + bufferOffset;
    float* __restrict outR = rightOut.getBuffer() + bufferOffset;
    const double rate = sampleRate;
    BiquadCoefficients c = coefficients;
    float lx1 = x1[0], lx2 = x2[0], ly1 = y1[0], ly2 = y2[0];
    float rx1 = x1[1], rx2 = x2[1], ry1 = y1[1], ry2 = y2[1];
    for (int i = 0; i < sampleFrames; ++i) {
        c = designEq<Type, Law>(frequency[i], bandwidth[i], gain[i], rate);
        if constexpr (Left) outL[i] = biquadStep(c, inL[i], lx1, lx2, ly1, ly2);
        if constexpr (Right) outR[i] = biquadStep(c, inR[i], rx1, rx2, ry1, ry2);
    }
    x1[0] = lx1, x2[0] = lx2, y1[0] = ly1, y2[0] = ly2;
    x1[1] = rx1, x2[1] = rx2, y1[1] = ry1, y2[1] = ry2;
    coefficients = c;
}

void SemParametricEQ::subProcessFixed(int bufferOffset, int sampleFrames) {
    withChannels([&](auto left, auto right) {
        fixedKernel<decltype(left)::value, decltype(right)::value>(bufferOffset, sampleFrames);
    });
    endOfRoutine(bufferOffset, sampleFrames);
}

void SemParametricEQ::subProcess(int bufferOffset, int sampleFrames) {
    withChannels([&](auto left, auto right) {
        withEqType(typePin.getValue(), [&](auto type) {
            withPitchLaw(pitchLawOf(pitchModePin.getValue()), [&](auto law) {
                modulatedKernel<decltype(type)::value, decltype(law)::value, decltype(left)::value,
                                decltype(right)::value>(bufferOffset, sampleFrames);
            });
        });
    });
    endOfRoutine(bufferOffset, sampleFrames);
}

void SemParametricEQ::subProcessBypass(int bufferOffset, int sampleFrames) {
    if (leftActive) std::copy_n(leftIn.getBuffer() + bufferOffset, sampleFrames, leftOut.getBuffer() + bufferOffset);
    if (rightActive) std::copy_n(rightIn.getBuffer() + bufferOffset, sampleFrames, rightOut.getBuffer() + bufferOffset);
}

void SemParametricEQ::subProcessStatic(int bufferOffset, int sampleFrames) {
    if (leftActive) std::fill_n(leftOut.getBuffer() + bufferOffset, sampleFrames, 0.0f);
    if (rightActive) std::fill_n(rightOut.getBuffer() + bufferOffset, sampleFrames, 0.0f);
}

void SemParametricEQ::endOfRoutine(int bufferOffset, int sampleFrames) {
    for (int c = 0; c < 2; ++c) {
        flushDenormal(x1[c]);
        flushDenormal(x2[c]);
        flushDenormal(y1[c]);
        flushDenormal(y2[c]);
    }
    if (checkCounter-- < 0) doCheck(bufferOffset + sampleFrames - 1);
}

bool SemParametricEQ::channelStreams(int channel) const {
    return channel == 0 ? leftIn.isStreaming() : rightIn.isStreaming();
}

void SemParametricEQ::doCheck(int last) {
    for (int c = 0; c < 2; ++c) {
        clearIfNotFinite(x1[c]);
        clearIfNotFinite(x2[c]);
        clearIfNotFinite(y1[c]);
        clearIfNotFinite(y2[c]);
    }
    if (leftIn.isStreaming() || rightIn.isStreaming() || gainIn.isStreaming() || frequencyIn.isStreaming() ||
        bandwidthIn.isStreaming()) {
        checkCounter = 50;
    } else {
        checkCounter = std::max(checkCounter, 1);
    }
    if (staticFlag) return;
    const int n = getBlockSize();
    // An empty closing slice has no last sample to look at.
    if (last < 0 || n < 1) return;

    bool* active[2] = {&leftActive, &rightActive};
    AudioOutPin* outputs[2] = {&leftOut, &rightOut};
    for (int c = 0; c < 2; ++c) {
        if (!*active[c] || channelStreams(c)) continue;
        const float* buffer = outputs[c]->getBuffer();
        const float o = buffer[last];
        const float p = buffer[(last + n - 1) % n];
        if (o == p || std::fabs(x2[c]) + std::fabs(x1[c] - o) < 1e-6f) {
            x1[c] = o;
            x2[c] = 0.0f;
            *active[c] = false;
            outputs[c]->setStreaming(false, last);
        }
    }
    if (!leftActive && !rightActive) {
        staticFlag = true;
        setSubProcess(&SemParametricEQ::subProcessStatic);
    }
}
