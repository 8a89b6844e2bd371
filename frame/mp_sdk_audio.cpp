// The DSP module base: event dispatch, the block loop, the sleep machinery,
// pins, blobs and the smoothing outputs.
#include "frame/mp_sdk_audio.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr float kFallbackSampleRate = 44100.0f;

bool setsPins(int32_t type) {
    return type == gmpi::EVENT_PIN_SET || type == gmpi::EVENT_PIN_STREAMING_START ||
           type == gmpi::EVENT_PIN_STREAMING_STOP;
}

bool isPinEvent(int32_t type) { return type >= gmpi::EVENT_PIN_SET && type <= gmpi::EVENT_MIDI; }

// Event times outside the block would make slices run past the buffers.
int32_t clampTime(int32_t t, int32_t low, int32_t high) { return t < low ? low : (t > high ? high : t); }

}  // namespace

// ---- MpPluginBase -------------------------------------------------------

MpPluginBase::~MpPluginBase() {
    if (host != nullptr) host->release();
}

int32_t MpPluginBase::queryInterface(const gmpi::MpGuid& iid, void** object) {
    if (object == nullptr) return MP_FAIL;
    *object = nullptr;
    if (iid == MP_IID_UNKNOWN || iid == MP_IID_PLUGIN) {
        *object = static_cast<gmpi::IMpPlugin*>(this);
    } else if (iid == MP_IID_PLUGIN2) {
        *object = static_cast<gmpi::IMpPlugin2*>(this);
    } else {
        return MP_NOSUPPORT;
    }
    addRef();
    return MP_OK;
}

int32_t MpPluginBase::addRef() { return ++refCount_; }

int32_t MpPluginBase::release() {
    if (--refCount_ == 0) {
        delete this;
        return 0;
    }
    return refCount_;
}

int32_t MpPluginBase::open() { return MP_OK; }

int32_t MpPluginBase::setHost(gmpi::IMpUnknown* newHost) {
    if (host != nullptr) {
        host->release();
        host = nullptr;
    }
    if (newHost == nullptr) return MP_FAIL;
    return newHost->queryInterface(MP_IID_HOST, reinterpret_cast<void**>(&host));
}

int32_t MpPluginBase::setBuffer(int32_t pinId, float* buffer) {
    const auto it = pins_.find(pinId);
    if (it == pins_.end()) return MP_FAIL;
    it->second->setBuffer(buffer);
    return MP_OK;
}

void MpPluginBase::process(int32_t count, gmpi::MpEvent* events) {
    process(count, static_cast<const gmpi::MpEvent*>(events));
}

// Each overload bounces to the other once; a module overrides either.
int32_t MpPluginBase::receiveMessageFromGui(int32_t id, int32_t size, void* messageData) {
    if (inGuiMessage) return 0;
    inGuiMessage = true;
    const int32_t result = receiveMessageFromGui(id, size, static_cast<const void*>(messageData));
    inGuiMessage = false;
    return result;
}

int32_t MpPluginBase::receiveMessageFromGui(int32_t id, int32_t size, const void* messageData) {
    if (inGuiMessage) return 0;
    inGuiMessage = true;
    const int32_t result = receiveMessageFromGui(id, size, const_cast<void*>(messageData));
    inGuiMessage = false;
    return result;
}

void MpPluginBase::onMidiMessage(int pin, const unsigned char* midiMessage, int size) {
    onMidiMessage(pin, const_cast<unsigned char*>(midiMessage), size);
}

void MpPluginBase::onMidiMessage(int, unsigned char*, int) {}

void MpPluginBase::onSetPins() {}

void MpPluginBase::onGraphStart() {
    for (auto& [id, pin] : pins_) {
        if (pin->getDirection() == gmpi::MP_OUT) pin->sendFirstUpdate();
    }
}

void MpPluginBase::initializePin(int pinId, MpPinBase& pin, MpBaseMemberPtr handler) {
    pin.initialize(this, pinId, handler);
    pins_.emplace(pinId, &pin);
}

void MpPluginBase::initializePin(MpPinBase& pin, MpBaseMemberPtr handler) {
    const int pinId = pins_.empty() ? 0 : pins_.rbegin()->first + 1;
    initializePin(pinId, pin, handler);
}

void MpPluginBase::preProcessEvent(const gmpi::MpEvent* e) {
    if (!isPinEvent(e->eventType)) return;
    const auto it = pins_.find(e->parm1);
    if (it != pins_.end()) it->second->preProcessEvent(e);
}

void MpPluginBase::processEvent(const gmpi::MpEvent* e) {
    if (isPinEvent(e->eventType)) {
        const auto it = pins_.find(e->parm1);
        if (it != pins_.end()) it->second->processEvent(e);
    } else if (e->eventType == gmpi::EVENT_GRAPH_START) {
        onGraphStart();
    }
}

void MpPluginBase::postProcessEvent(const gmpi::MpEvent* e) {
    if (!isPinEvent(e->eventType)) return;
    const auto it = pins_.find(e->parm1);
    if (it != pins_.end()) it->second->postProcessEvent(e);
}

void MpPluginBase::resetSleepCounter() {
    if (host != nullptr) host->getBlockSize(sleepCount);
}

void MpPluginBase::midiHelper(const gmpi::MpEvent* e) {
    if (e->extraData == nullptr) {
        // Short messages live in parm3 and parm4: never more than 8 bytes.
        const int size = clampTime(e->parm2, 0, 8);
        onMidiMessage(e->parm1, reinterpret_cast<const unsigned char*>(&e->parm3), size);
    } else {
        onMidiMessage(e->parm2, reinterpret_cast<const unsigned char*>(e->extraData), e->parm2);
    }
}

float MpPluginBase::getSampleRate() {
    float rate = kFallbackSampleRate;
    if (host != nullptr) host->getSampleRate(rate);
    return rate;
}

int32_t MpPluginBase::getBlockSize() {
    int32_t size = 0;
    if (host != nullptr) host->getBlockSize(size);
    return size;
}

// ---- MpBase -------------------------------------------------------------

void MpBase::process(int32_t count, const gmpi::MpEvent* events) {
    if (count < 0) count = 0;
    blockPos = 0;
    int32_t remain = count;
    int32_t pos = 0;
    if (events == nullptr) {
        (this->*curSubProcess)(0, count);
        return;
    }
    const gmpi::MpEvent* e = events;
    for (;;) {
        const int32_t t = clampTime(e->timeDelta, 0, count);
        const int32_t slice = t - pos;
        if (slice > 0) {
            noEventsPending = false;
            (this->*curSubProcess)(pos, slice);
            noEventsPending = true;
            remain -= slice;
            if (remain == 0) return;  // events stamped with count are dropped
            pos = t;
        }
        blockPos = t;

        bool pinsSet = false;
        const gmpi::MpEvent* groupEnd = e;
        for (; groupEnd != nullptr && clampTime(groupEnd->timeDelta, 0, count) == t; groupEnd = groupEnd->next) {
            preProcessEvent(groupEnd);
            pinsSet = pinsSet || setsPins(groupEnd->eventType);
        }
        for (const gmpi::MpEvent* g = e; g != groupEnd; g = g->next) processEvent(g);
        if (pinsSet) onSetPins();
        for (const gmpi::MpEvent* g = e; g != groupEnd; g = g->next) postProcessEvent(g);

        e = groupEnd;
        if (e == nullptr) {
            (this->*curSubProcess)(pos, remain);
            return;
        }
    }
}

void MpBase::OnPinStreamingChange(bool isStreaming) {
    streamingPins += isStreaming ? 1 : -1;
    if (streamingPins == 0 || sleepMode == 1) {
        curSubProcess = &MpBase::subProcessPreSleep;
    } else {
        curSubProcess = savedSubProcess;
    }
}

void MpBase::setSubProcess(SubProcess_ptr routine) {
    if (curSubProcess == savedSubProcess) curSubProcess = routine;
    savedSubProcess = routine;
}

void MpBase::setSleep(bool isOkToSleep) {
    if (isOkToSleep) {
        sleepMode = 1;
        curSubProcess = &MpBase::subProcessPreSleep;
    } else {
        sleepMode = 0;
    }
}

void MpBase::subProcessPreSleep(int bufferOffset, int sampleFrames) {
    while (sleepMode == 1 || (sleepMode == -1 && streamingPins == 0)) {
        if (sleepCount < 1) {
            if (noEventsPending) {
                if (host != nullptr) host->sleep();
                return;
            }
            sleepCount = sampleFrames;
        }
        if (sampleFrames <= 0) return;
        const int n = std::min(sleepCount, sampleFrames);
        sleepCount -= n;
        sampleFrames -= n;
        (this->*savedSubProcess)(bufferOffset, n);
        bufferOffset += n;
    }
    curSubProcess = savedSubProcess;
    if (sampleFrames > 0) (this->*savedSubProcess)(bufferOffset, sampleFrames);
}

// ---- MpBase2 ------------------------------------------------------------

void MpBase2::process(int32_t count, const gmpi::MpEvent* events) {
    if (count < 0) count = 0;
    blockPos = 0;
    int32_t remain = count;
    if (events == nullptr) {
        (this->*curSubProcess)(count);
        return;
    }
    const gmpi::MpEvent* e = events;
    for (;;) {
        // blockPos never moves back: a late event is handled where we are.
        const int32_t t = clampTime(e->timeDelta, blockPos, count);
        const int32_t slice = t - blockPos;
        if (slice > 0) {
            noEventsPending = false;
            (this->*curSubProcess)(slice);
            noEventsPending = true;
            remain -= slice;
            if (remain == 0) return;
            blockPos += slice;
        }

        bool pinsSet = false;
        const gmpi::MpEvent* groupEnd = e;
        for (; groupEnd != nullptr && clampTime(groupEnd->timeDelta, blockPos, count) == blockPos;
             groupEnd = groupEnd->next) {
            preProcessEvent(groupEnd);
            pinsSet = pinsSet || setsPins(groupEnd->eventType);
        }
        for (const gmpi::MpEvent* g = e; g != groupEnd; g = g->next) processEvent(g);
        if (pinsSet) onSetPins();
        for (const gmpi::MpEvent* g = e; g != groupEnd; g = g->next) postProcessEvent(g);

        e = groupEnd;
        if (e == nullptr) {
            (this->*curSubProcess)(remain);
            return;
        }
    }
}

void MpBase2::OnPinStreamingChange(bool isStreaming) {
    streamingPins += isStreaming ? 1 : -1;
    if (streamingPins == 0 || sleepMode == 1) {
        curSubProcess = &MpBase2::subProcessPreSleep;
    } else {
        curSubProcess = savedSubProcess;
    }
}

void MpBase2::setSubProcess(SubProcess_ptr routine) {
    if (curSubProcess == savedSubProcess) curSubProcess = routine;
    savedSubProcess = routine;
}

void MpBase2::setSleep(bool isOkToSleep) {
    if (isOkToSleep) {
        sleepMode = 1;
        curSubProcess = &MpBase2::subProcessPreSleep;
    } else {
        sleepMode = 0;
    }
}

void MpBase2::subProcessPreSleep(int sampleFrames) {
    const int32_t entryPos = blockPos;
    while (sleepMode == 1 || (sleepMode == -1 && streamingPins == 0)) {
        if (sleepCount < 1) {
            if (noEventsPending) {
                if (host != nullptr) host->sleep();
                blockPos = entryPos;
                return;
            }
            sleepCount = sampleFrames;
        }
        if (sampleFrames <= 0) {
            blockPos = entryPos;
            return;
        }
        const int n = std::min(sleepCount, sampleFrames);
        sleepCount -= n;
        sampleFrames -= n;
        (this->*savedSubProcess)(n);
        blockPos += n;
    }
    curSubProcess = savedSubProcess;
    if (sampleFrames > 0) (this->*savedSubProcess)(sampleFrames);
    blockPos = entryPos;
}

// ---- Pins ---------------------------------------------------------------

void MpPinBase::processEvent(const gmpi::MpEvent* e) {
    if (eventHandler != nullptr && owner != nullptr) (owner->*eventHandler)(e);
}

void MpPinBase::initialize(MpPluginBase* plugin, int pinId, MpBaseMemberPtr handler) {
    id = pinId;
    owner = plugin;
    if (handler == nullptr && getDirection() == gmpi::MP_IN) handler = getDefaultEventHandler();
    eventHandler = handler;
}

void MpPinBase::sendPinUpdate(int rawSize, const void* rawData, int blockPosition) {
    if (owner == nullptr || owner->host == nullptr) return;
    const int32_t time = blockPosition == -1 ? owner->blockPos : blockPosition;
    owner->host->setPin(time, id, rawSize, rawData);
}

float MpAudioPinBase::getValue(int bufferPos) const {
    return buffer[bufferPos < 0 ? owner->blockPos : bufferPos];
}

void AudioInPin::preProcessEvent(const gmpi::MpEvent* e) {
    if (e->eventType != gmpi::EVENT_PIN_STREAMING_START && e->eventType != gmpi::EVENT_PIN_STREAMING_STOP) return;
    streamingChanged = true;
    const bool isStreaming = e->eventType == gmpi::EVENT_PIN_STREAMING_START;
    if (streaming != isStreaming) {
        streaming = isStreaming;
        owner->OnPinStreamingChange(isStreaming);
    }
    if (!streaming) owner->sleepCount = std::max(owner->sleepCount, 1);
}

void AudioInPin::postProcessEvent(const gmpi::MpEvent* e) {
    if (e->eventType == gmpi::EVENT_PIN_STREAMING_START || e->eventType == gmpi::EVENT_PIN_STREAMING_STOP)
        streamingChanged = false;
}

void AudioOutPin::setStreaming(bool isStreaming, int blockPosition) {
    const int32_t time = blockPosition == -1 ? owner->blockPos : blockPosition;
    if (isStreaming != streaming) {
        streaming = isStreaming;
        owner->OnPinStreamingChange(isStreaming);
    }
    if (!streaming) owner->resetSleepCounter();
    if (owner->host != nullptr) owner->host->setPinStreaming(time, id, streaming ? 1 : 0);
}

void MidiOutPin::send(const unsigned char* data, int size, int blockPosition) {
    sendPinUpdate(size, data, blockPosition);
}

namespace tam_frame_detail {

void ControlValueTraits<bool>::setValueRaw(bool& v, int size, const void* data) {
    if (size <= 0 || data == nullptr) return;
    if (size == 4) {
        int32_t word;
        std::memcpy(&word, data, sizeof word);
        v = word != 0;
    } else {
        v = *static_cast<const unsigned char*>(data) != 0;
    }
}

void ControlValueTraits<std::wstring>::setValueRaw(std::wstring& v, int size, const void* data) {
    if (size <= 0 || data == nullptr) {
        v.clear();
        return;
    }
    const size_t count = static_cast<size_t>(size) / sizeof(wchar_t);
    v.resize(count);
    std::memcpy(v.data(), data, count * sizeof(wchar_t));
}

void ControlValueTraits<MpBlob>::setValueRaw(MpBlob& v, int size, const void* data) {
    if (size < 0 || data == nullptr) size = 0;
    v.setValueRaw(static_cast<unsigned long>(size), data);
}

}  // namespace tam_frame_detail

std::string WStringToUtf8(const std::wstring& text) {
    std::string out;
    out.reserve(text.size());
    for (const wchar_t wc : text) {
        uint32_t c = static_cast<uint32_t>(wc);
        if (c > 0x10FFFF) c = 0xFFFD;
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

// ---- MpBlob -------------------------------------------------------------

MpBlob::MpBlob(const MpBlob& other) { setValueRaw(static_cast<unsigned long>(other.size_), other.data_); }

MpBlob::MpBlob(int32_t size, const void* data) {
    setValueRaw(static_cast<unsigned long>(size < 0 ? 0 : size), data);
}

MpBlob& MpBlob::operator=(const MpBlob& other) {
    if (this != &other) setValueRaw(static_cast<unsigned long>(other.size_), other.data_);
    return *this;
}

MpBlob::~MpBlob() { delete[] data_; }

void MpBlob::setValueRaw(unsigned long size, const void* data) {
    if (size != size_) {
        delete[] data_;
        data_ = new char[size];
        size_ = size;
    }
    if (size != 0 && data != nullptr) std::memcpy(data_, data, size);
}

void MpBlob::resize(int size) {
    if (size < 0) size = 0;
    const uint64_t newSize = static_cast<uint64_t>(size);
    if (newSize > size_) {
        delete[] data_;
        data_ = new char[newSize];
    }
    size_ = newSize;
}

bool MpBlob::compare(const char* data, int size) const {
    if (size < 0 || static_cast<uint64_t>(size) != size_) return false;
    return size_ == 0 || std::memcmp(data_, data, size_) == 0;
}

bool MpBlob::operator==(const MpBlob& other) const { return other.compare(data_, getSize()); }

// ---- SmartAudioPin ------------------------------------------------------

void SmartAudioPin::setTransitionTime(float samples) {
    transitionSamples = samples > 1.0f ? samples : 1.0f;  // NaN becomes 1 too
    inverseTransition = 1.0f / transitionSamples;
}

void SmartAudioPin::setCurveType(int curve) {
    curveType = curve;
    float sr = owner != nullptr ? owner->getSampleRate() : kFallbackSampleRate;
    if (!(sr > 0.0f)) sr = kFallbackSampleRate;
    inverseTransition = 1.0f / (sr * 0.015f);
    slowestRate = 1.0f / (sr * 0.05f);
    fastestRate = 1.0f / (sr * 0.001f);
}

void SmartAudioPin::setValue(float value, int blockPosition) {
    if (transitionSamples == 0.0f || curProcess == &SmartAudioPin::subProcessFirstSample) {
        setValueInstant(value, blockPosition);
        return;
    }
    if (blockPosition == -1) blockPosition = owner->blockPos;
    targetValue = value;
    if (currentValue == value) {
        curProcess = &SmartAudioPin::subProcessStatic;
        if (streaming) setStreaming(false, blockPosition);
        return;
    }
    if (curveType == 0 || curveType == 2) {
        if (curveType == 2) {
            // Adapts to how fast values arrive: faster while values keep
            // coming during a ramp, slower when they arrive one by one.
            float rate = inverseTransition;
            const bool rampUnderWay = curProcess == &SmartAudioPin::subProcessRamp;
            if (rampUnderWay) {
                if (fastestRate > rate) rate *= 1.05f;
            } else if (rate > slowestRate) {
                rate *= 0.9f;
            }
            inverseTransition = rate;
        }
        dv = (value - currentValue) * inverseTransition;
        curProcess = &SmartAudioPin::subProcessRamp;
    } else {
        // Cubic with zero slope at both ends, by forward differences.
        const float d = value - currentValue;
        const float t = transitionSamples;
        const float t3 = t * t * t;
        const float a = (3.0f * t - 2.0f) * d / t3;
        const float b = 6.0f * (t - 2.0f) * d / t3;
        dddv = -12.0f * d / t3;
        remainingSamples = static_cast<int32_t>(t) - 1;
        currentValue += a;
        dv = a + b;
        ddv = dddv + b;
        curProcess = &SmartAudioPin::subProcessCurve;
    }
    setStreaming(true, blockPosition);
}

void SmartAudioPin::setValueInstant(float value, int blockPosition) {
    curProcess = &SmartAudioPin::subProcessStatic;
    if (!(value == currentValue && !streaming)) setStreaming(false, blockPosition);
    currentValue = value;
    targetValue = value;
}

void SmartAudioPin::pulse(float value, int blockPosition) {
    currentValue = value;
    targetValue = value;
    curProcess = &SmartAudioPin::subProcessPulse;
    setStreaming(false, blockPosition);
    remainingSamples = static_cast<int32_t>(transitionSamples);
}

void SmartAudioPin::subProcessFirstSample(int bufferOffset, int sampleFrames, bool& canSleep) {
    setStreaming(false, bufferOffset);
    curProcess = &SmartAudioPin::subProcessStatic;
    subProcessStatic(bufferOffset, sampleFrames, canSleep);
}

void SmartAudioPin::subProcessStatic(int bufferOffset, int sampleFrames, bool&) {
    std::fill(buffer + bufferOffset, buffer + bufferOffset + sampleFrames, targetValue);
}

void SmartAudioPin::subProcessRamp(int bufferOffset, int sampleFrames, bool& canSleep) {
    canSleep = false;
    float* __restrict out = buffer + bufferOffset;
    float value = currentValue;
    const float step = dv;
    const float target = targetValue;
    for (int i = 0; i < sampleFrames; ++i) {
        value += step;
        if ((step > 0.0f && value >= target) || (step <= 0.0f && target >= value)) {
            currentValue = target;
            curProcess = &SmartAudioPin::subProcessStatic;
            setStreaming(false, bufferOffset + i);
            std::fill(out + i, out + sampleFrames, target);
            return;
        }
        out[i] = value;
    }
    currentValue = value;
}

void SmartAudioPin::subProcessCurve(int bufferOffset, int sampleFrames, bool& canSleep) {
    canSleep = false;
    float* __restrict out = buffer + bufferOffset;
    float value = currentValue;
    float d1 = dv;
    float d2 = ddv;
    const float d3 = dddv;
    int32_t remaining = remainingSamples;
    for (int i = 0; i < sampleFrames; ++i) {
        out[i] = value;
        if (remaining < 1) {
            remainingSamples = remaining - 1;
            currentValue = targetValue;
            dv = d1;
            ddv = d2;
            curProcess = &SmartAudioPin::subProcessStatic;
            setStreaming(false, bufferOffset + i);
            std::fill(out + i, out + sampleFrames, targetValue);
            return;
        }
        --remaining;
        value += d1;
        d1 += d2;
        d2 += d3;
    }
    currentValue = value;
    dv = d1;
    ddv = d2;
    remainingSamples = remaining;
}

void SmartAudioPin::subProcessPulse(int bufferOffset, int sampleFrames, bool&) {
    float* out = buffer + bufferOffset;
    if (remainingSamples <= 0) {
        targetValue = 0.0f;
        curProcess = &SmartAudioPin::subProcessStatic;
        setStreaming(false, bufferOffset);
        std::fill(out, out + sampleFrames, 0.0f);
    } else if (remainingSamples >= sampleFrames) {
        remainingSamples -= sampleFrames;
        owner->resetSleepCounter();
        std::fill(out, out + sampleFrames, targetValue);
    } else {
        const int high = remainingSamples;
        std::fill(out, out + high, targetValue);
        remainingSamples = 0;
        targetValue = 0.0f;
        setStreaming(false, bufferOffset + high);
        std::fill(out + high, out + sampleFrames, 0.0f);
    }
}

// ---- RampGenerator ------------------------------------------------------

void RampGenerator::setTransitionTime(float samples) {
    if (samples == transitionSamples) return;
    transitionSamples = samples > 1.0f ? samples : 1.0f;
    inverseTransition = 1.0f / transitionSamples;
}

void RampGenerator::setTarget(float target) {
    targetValue = target;
    dv = (target - currentValue) * inverseTransition;
}

void RampGenerator::setValueInstant(float value) {
    targetValue = value;
    currentValue = value;
    dv = 0.0f;
}

float RampGenerator::getNext() {
    currentValue += dv;
    if ((dv > 0.0f && currentValue >= targetValue) || (dv <= 0.0f && targetValue >= currentValue)) {
        currentValue = targetValue;
        dv = 0.0f;
    }
    return currentValue;
}
