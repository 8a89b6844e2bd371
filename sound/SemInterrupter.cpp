#include "sound/SemInterrupter.h"

#include <climits>

namespace {

// Pin value (1.0 = 10 s) to a length in samples, truncated toward zero.
// Values beyond the int range saturate and NaN gives 0, so the conversion is
// always defined; the top is kept one below INT_MAX so the counter can pass it.
inline int lengthInSamples(float value, float sampleRate) {
    const float samples = value * 10.0f * sampleRate;
    if (!(samples > -2147483648.0f))
        return samples < 0.0f ? INT_MIN : 0;
    if (!(samples < 2147483520.0f))
        return INT_MAX - 1;
    return static_cast<int>(samples);
}

}  // namespace

SemInterrupter::SemInterrupter(gmpi::IMpUnknown* host) : MpBase(host) {
    initializePin(0, pinSignal);
    initializePin(1, pinOnTime);
    initializePin(2, pinOffTime);
    initializePin(3, pinKeepStreaming);
    initializePin(4, pinOutput);
}

int32_t SemInterrupter::open() {
    float rate = 0.0f;
    if (host != nullptr && host->getSampleRate(rate) == MP_OK)
        sampleRate = rate;
    return MpPluginBase::open();
}

void SemInterrupter::onSetPins() {
    if (pinOnTime.isUpdated())
        onLength = lengthInSamples(pinOnTime.getValue(), sampleRate);
    if (pinOffTime.isUpdated())
        offLength = lengthInSamples(pinOffTime.getValue(), sampleRate);
    const bool streaming = pinSignal.isStreaming() || pinKeepStreaming.getValue();
    pinOutput.setStreaming(streaming, -1);
    setSleep(!streaming);
    if (!pinOnTime.isStreaming() && !pinOffTime.isStreaming())
        setSubProcess(&SemInterrupter::subProcessFixed);
    else
        setSubProcess(&SemInterrupter::subProcess);
}

void SemInterrupter::subProcessFixed(int bufferOffset, int sampleFrames) {
    const float* __restrict signal = pinSignal.getBuffer() + bufferOffset;
    float* __restrict out = pinOutput.getBuffer() + bufferOffset;
    const int onSamples = onLength;
    const int offSamples = offLength;
    int count = counter;
    bool isOn = on;
    for (int i = 0; i < sampleFrames; ++i) {
        if (isOn) {
            out[i] = signal[i];
            if (count > onSamples) {
                isOn = false;
                count = 0;
            } else {
                ++count;
            }
        } else {
            out[i] = 0.0f;
            if (count > offSamples) {
                isOn = true;
                count = 0;
            } else {
                ++count;
            }
        }
    }
    counter = count;
    on = isOn;
}

void SemInterrupter::subProcess(int bufferOffset, int sampleFrames) {
    const float* __restrict signal = pinSignal.getBuffer() + bufferOffset;
    const float* __restrict onTime = pinOnTime.getBuffer() + bufferOffset;
    const float* __restrict offTime = pinOffTime.getBuffer() + bufferOffset;
    float* __restrict out = pinOutput.getBuffer() + bufferOffset;
    const float rate = sampleRate;
    int count = counter;
    bool isOn = on;
    for (int i = 0; i < sampleFrames; ++i) {
        if (isOn) {
            out[i] = signal[i];
            if (count > lengthInSamples(onTime[i], rate)) {
                isOn = false;
                count = 0;
            } else {
                ++count;
            }
        } else {
            out[i] = 0.0f;
            if (count > lengthInSamples(offTime[i], rate)) {
                isOn = true;
                count = 0;
            } else {
                ++count;
            }
        }
    }
    counter = count;
    on = isOn;
}
