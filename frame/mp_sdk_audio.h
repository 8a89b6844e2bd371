// The DSP side of the host boundary: the event record, the module and host
// interfaces, the block loop that cuts a block at event time stamps, the pins
// through which values and audio cross, and the sleep machinery by which a
// silent module stops costing processor time.
#pragma once

#include <cstdint>
#include <cstring>
#include <map>
#include <string>

#include "frame/mp_sdk_common.h"

namespace gmpi {

// Pin data type codes.
enum MpDataType : int32_t {
    MP_ENUM = 0,
    MP_STRING = 1,
    MP_MIDI = 2,
    MP_BOOL = 4,
    MP_AUDIO = 5,
    MP_FLOAT32 = 6,
    MP_INT32 = 8,
    MP_BLOB = 10,
};

// Pin directions.
enum MpPinDirection : int32_t {
    MP_IN = 0,
    MP_OUT = 1,
};

// Event types.
enum MpEventType : int32_t {
    EVENT_PIN_SET = 100,
    EVENT_PIN_STREAMING_START = 101,
    EVENT_PIN_STREAMING_STOP = 102,
    EVENT_MIDI = 103,
    EVENT_GRAPH_START = 104,
};

// The host's event record. Short data lies at parm3 and runs on into parm4;
// it is short exactly when extraData is null.
struct MpEvent {
    int32_t timeDelta;
    int32_t eventType;
    int32_t parm1;
    int32_t parm2;
    int32_t parm3;
    int32_t parm4;
    char* extraData;
    MpEvent* next;
};

class IMpPlugin : public IMpUnknown {
public:
    virtual int32_t open() = 0;
    virtual int32_t setBuffer(int32_t pinId, float* buffer) = 0;
    virtual void process(int32_t count, MpEvent* events) = 0;
    virtual int32_t receiveMessageFromGui(int32_t id, int32_t size, void* messageData) = 0;
};

class IMpPlugin2 : public IMpUnknown {
public:
    virtual int32_t setHost(IMpUnknown* host) = 0;
    virtual int32_t open() = 0;
    virtual int32_t setBuffer(int32_t pinId, float* buffer) = 0;
    virtual void process(int32_t count, const MpEvent* events) = 0;
    virtual int32_t receiveMessageFromGui(int32_t id, int32_t size, const void* messageData) = 0;
};

// The audio-side host (MP_IID_HOST). The slot order is the binary contract;
// the reserved slots are operations the pack never calls.
class IMpHost : public IMpUnknown {
public:
    virtual int32_t setPin(int32_t timeStamp, int32_t pinId, int32_t size, const void* data) = 0;
    virtual int32_t setPinStreaming(int32_t timeStamp, int32_t pinId, int32_t isStreaming) = 0;
    virtual int32_t sleep() = 0;
    virtual int32_t reservedSlot6() = 0;
    virtual int32_t getBlockSize(int32_t& size) = 0;
    virtual int32_t getSampleRate(float& rate) = 0;
    virtual int32_t getHandle(int32_t& handle) = 0;
    virtual int32_t reservedSlot10() = 0;
    virtual int32_t reservedSlot11() = 0;
    virtual int32_t reservedSlot12() = 0;
    virtual int32_t createPinIterator(IMpUnknown** iterator) = 0;
    virtual int32_t getHostFlag(int32_t& flag) = 0;
    virtual int32_t reservedSlot15() = 0;
    virtual int32_t requestSharedBlock(const wchar_t* name, void** pointer, int32_t size, int32_t* needsInit, float rate) = 0;
    virtual int32_t resolveFileName(const wchar_t* name, int32_t bufferLength, wchar_t* buffer) = 0;
};

// What createPinIterator yields; the pack only asks for the count.
class IMpPinIterator : public IMpUnknown {
public:
    virtual int32_t getCount(int32_t& count) = 0;
};

}  // namespace gmpi

class MpPinBase;
class MpPluginBase;

typedef void (MpPluginBase::*MpBaseMemberPtr)(const gmpi::MpEvent*);

// Common base of every DSP module: reference counting, the host, the pin map
// and event dispatch. The block loop lives in MpBase.
class MpPluginBase : public gmpi::IMpPlugin, public gmpi::IMpPlugin2, public IoldSchoolInitialisation {
public:
    MpPluginBase() = default;
    MpPluginBase(const MpPluginBase&) = delete;
    MpPluginBase& operator=(const MpPluginBase&) = delete;

    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override;
    int32_t addRef() override;
    int32_t release() override;
    int32_t open() override;
    int32_t setBuffer(int32_t pinId, float* buffer) override;
    void process(int32_t count, gmpi::MpEvent* events) override;
    int32_t receiveMessageFromGui(int32_t id, int32_t size, void* messageData) override;
    virtual ~MpPluginBase();
    int32_t setHost(gmpi::IMpUnknown* host) override;
    void process(int32_t count, const gmpi::MpEvent* events) override = 0;
    int32_t receiveMessageFromGui(int32_t id, int32_t size, const void* messageData) override;
    virtual void onMidiMessage(int pin, const unsigned char* midiMessage, int size);
    virtual void onMidiMessage(int pin, unsigned char* midiMessage, int size);
    virtual void onSetPins();
    virtual void OnPinStreamingChange(bool isStreaming) = 0;
    virtual void onGraphStart();

    // Wires a pin: id, owner and handler (input pins fall back to the pin's
    // default handler). An id already in the map keeps its first pin.
    void initializePin(int pinId, MpPinBase& pin, MpBaseMemberPtr handler = nullptr);
    // Ids in order, for modules that number their pins themselves.
    void initializePin(MpPinBase& pin, MpBaseMemberPtr handler = nullptr);

    void preProcessEvent(const gmpi::MpEvent* e);
    void processEvent(const gmpi::MpEvent* e);
    void postProcessEvent(const gmpi::MpEvent* e);

    // Block size straight into sleepCount: one more block before sleeping.
    void resetSleepCounter();
    void midiHelper(const gmpi::MpEvent* e);

    gmpi::IMpHost* getHost() const { return host; }
    float getSampleRate();
    int32_t getBlockSize();

    // Pins and modules read these; they are the module's state, not an API.
    int32_t refCount_ = 1;
    gmpi::IMpHost* host = nullptr;
    std::map<int, MpPinBase*> pins_;
    int32_t blockPos = 0;
    int32_t sleepCount = 0;
    int32_t streamingPins = 0;
    int32_t sleepMode = -1;
    bool noEventsPending = true;
    bool inGuiMessage = false;
};

// The block loop with routines that take an offset and a frame count.
class MpBase : public MpPluginBase {
public:
    typedef void (MpBase::*SubProcess_ptr)(int bufferOffset, int sampleFrames);

    MpBase() = default;
    MpBase(gmpi::IMpUnknown*) {}

    void process(int32_t count, const gmpi::MpEvent* events) override;
    void OnPinStreamingChange(bool isStreaming) override;
    ~MpBase() override = default;

    using MpPluginBase::process;

    // While the module sits in subProcessPreSleep only savedSubProcess
    // changes; the new routine takes over when the module wakes.
    void setSubProcess(SubProcess_ptr routine);
    template <typename Module>
    void setSubProcess(void (Module::*routine)(int, int)) {
        setSubProcess(static_cast<SubProcess_ptr>(routine));
    }
    void setSleep(bool isOkToSleep);

    void subProcessPreSleep(int bufferOffset, int sampleFrames);
    void subProcessNothing(int, int) {}

    SubProcess_ptr curSubProcess = &MpBase::subProcessPreSleep;
    SubProcess_ptr savedSubProcess = &MpBase::subProcessNothing;
};

// Second-generation block loop: routines take only a frame count and reach
// their samples through blockPos, which only moves forward.
class MpBase2 : public MpPluginBase {
public:
    typedef void (MpBase2::*SubProcess_ptr)(int sampleFrames);

    MpBase2() = default;
    MpBase2(gmpi::IMpUnknown*) {}

    void process(int32_t count, const gmpi::MpEvent* events) override;
    void OnPinStreamingChange(bool isStreaming) override;
    ~MpBase2() override = default;

    using MpPluginBase::process;

    void setSubProcess(SubProcess_ptr routine);
    template <typename Module>
    void setSubProcess(void (Module::*routine)(int)) {
        setSubProcess(static_cast<SubProcess_ptr>(routine));
    }
    void setSleep(bool isOkToSleep);

    void subProcessPreSleep(int sampleFrames);
    void subProcessNothing(int) {}

    SubProcess_ptr curSubProcess = &MpBase2::subProcessPreSleep;
    SubProcess_ptr savedSubProcess = &MpBase2::subProcessNothing;
};

class MpPinBase {
public:
    MpPinBase() = default;
    MpPinBase(const MpPinBase&) = delete;
    MpPinBase& operator=(const MpPinBase&) = delete;

    virtual ~MpPinBase() = default;
    virtual void setBuffer(float*) {}
    virtual void preProcessEvent(const gmpi::MpEvent*) {}
    virtual void processEvent(const gmpi::MpEvent* e);
    virtual void postProcessEvent(const gmpi::MpEvent*) {}
    virtual int getDatatype() const = 0;
    virtual int getDirection() const = 0;
    virtual MpBaseMemberPtr getDefaultEventHandler() { return nullptr; }
    virtual void sendFirstUpdate() = 0;

    // Wires the pin without entering it in the owner's map.
    void initialize(MpPluginBase* plugin, int pinId, MpBaseMemberPtr handler = nullptr);
    // host->setPin at blockPosition (-1 stands for the owner's blockPos).
    void sendPinUpdate(int rawSize, const void* rawData, int blockPosition = -1);

    int getId() const { return id; }
    MpPluginBase* getOwner() const { return owner; }

    int id = -1;
    MpPluginBase* owner = nullptr;
    MpBaseMemberPtr eventHandler = nullptr;
};

class MpAudioPinBase : public MpPinBase {
public:
    int getDatatype() const override { return gmpi::MP_AUDIO; }
    MpBaseMemberPtr getDefaultEventHandler() override { return nullptr; }
    void setBuffer(float* newBuffer) override { buffer = newBuffer; }
    virtual void setValueRaw(int, void*) {}

    // buffer[bufferPos], or the sample at the owner's blockPos for -1.
    float getValue(int bufferPos = -1) const;
    operator float() const { return getValue(); }
    float* getBuffer() const { return buffer; }
    bool isStreaming() const { return streaming; }

    float* buffer = nullptr;
    bool streaming = false;
};

class AudioInPin : public MpAudioPinBase {
public:
    int getDirection() const override { return gmpi::MP_IN; }
    void preProcessEvent(const gmpi::MpEvent* e) override;
    void postProcessEvent(const gmpi::MpEvent* e) override;
    void sendFirstUpdate() override {}

    bool isUpdated() const { return streamingChanged; }

    // True in a new pin: every input counts as changed at the first group.
    bool streamingChanged = true;
};

class AudioOutPin : public MpAudioPinBase {
public:
    int getDirection() const override { return gmpi::MP_OUT; }
    void sendFirstUpdate() override { setStreaming(true, -1); }

    // Tells the host on every call, changed or not: a repeated false marks a
    // new constant level downstream.
    void setStreaming(bool isStreaming, int blockPosition = -1);
};

// The IMpUnknown face a creation function returns for a DSP module.
inline gmpi::IMpUnknown* asUnknown(MpPluginBase* module) { return static_cast<gmpi::IMpPlugin*>(module); }

// An owned byte array carried by blob pins.
class MpBlob {
public:
    MpBlob() = default;
    MpBlob(const MpBlob& other);
    MpBlob(int32_t size, const void* data);
    MpBlob& operator=(const MpBlob& other);
    ~MpBlob();

    int32_t getSize() const { return static_cast<int32_t>(size_); }
    char* getData() const { return data_; }
    // Reallocates only when the size differs, then copies.
    void setValueRaw(unsigned long size, const void* data);
    // Grows by a fresh allocation (contents lost); shrinking lowers the size.
    void resize(int size);
    bool compare(const char* data, int size) const;
    bool operator==(const MpBlob& other) const;
    bool operator!=(const MpBlob& other) const { return !(*this == other); }

private:
    uint64_t size_ = 0;
    char* data_ = nullptr;
};

namespace tam_frame_detail {

// Raw image of each control value type: size, bytes, and how a host image
// becomes a value. Sizes are untrusted; nothing reads or writes out of range.
template <typename T>
struct ControlValueTraits {
    static int rawSize(const T&) { return static_cast<int>(sizeof(T)); }
    static const void* rawData(const T& v) { return &v; }
    static void setValueRaw(T& v, int size, const void* data);
};

template <>
struct ControlValueTraits<bool> {
    static int rawSize(const bool&) { return 1; }
    static const void* rawData(const bool& v) { return &v; }
    static void setValueRaw(bool& v, int size, const void* data);
};

template <>
struct ControlValueTraits<std::wstring> {
    static int rawSize(const std::wstring& v) { return static_cast<int>(v.size() * sizeof(wchar_t)); }
    static const void* rawData(const std::wstring& v) { return v.data(); }
    static void setValueRaw(std::wstring& v, int size, const void* data);
};

template <>
struct ControlValueTraits<MpBlob> {
    static int rawSize(const MpBlob& v) { return v.getSize(); }
    static const void* rawData(const MpBlob& v) { return v.getData(); }
    static void setValueRaw(MpBlob& v, int size, const void* data);
};

// Copies at most sizeof(T) bytes over the value.
template <typename T>
void ControlValueTraits<T>::setValueRaw(T& v, int size, const void* data) {
    if (size <= 0 || data == nullptr) return;
    const size_t count = static_cast<size_t>(size) < sizeof(T) ? static_cast<size_t>(size) : sizeof(T);
    std::memcpy(&v, data, count);
}

}  // namespace tam_frame_detail

template <typename T, int DATA_TYPE>
class MpControlPinBase : public MpPinBase {
public:
    MpControlPinBase() : value() {}

    void preProcessEvent(const gmpi::MpEvent* e) override {
        if (e->eventType == gmpi::EVENT_PIN_SET) {
            int size = e->parm2;
            const void* data = e->extraData;
            if (data == nullptr) {
                data = &e->parm3;
                // Short data is at most the two words parm3 and parm4.
                if (size > 8) size = 8;
            }
            setValueRaw(size, data);
            freshValue = true;
        }
    }
    void postProcessEvent(const gmpi::MpEvent* e) override {
        if (e->eventType == gmpi::EVENT_PIN_SET) freshValue = false;
    }
    int getDatatype() const override { return DATA_TYPE; }

    virtual void setValueRaw(int size, const void* data) {
        tam_frame_detail::ControlValueTraits<T>::setValueRaw(value, size, data);
    }
    virtual int rawSize() const { return tam_frame_detail::ControlValueTraits<T>::rawSize(value); }
    virtual const void* rawData() const { return tam_frame_detail::ControlValueTraits<T>::rawData(value); }

    const T& getValue() const { return value; }
    operator const T&() const { return value; }
    bool isUpdated() const { return freshValue; }

    T value;
    bool freshValue = false;
};

template <typename T, int DIRECTION, int DATA_TYPE>
class MpControlPin : public MpControlPinBase<T, DATA_TYPE> {
public:
    int getDirection() const override { return DIRECTION; }

    // Stores and sends a changed value; the same value sends nothing.
    MpControlPin& operator=(const T& newValue) {
        setValue(newValue, -1);
        return *this;
    }
    void setValue(const T& newValue, int blockPosition = -1) {
        if (!(this->value == newValue)) {
            this->value = newValue;
            this->sendPinUpdate(this->rawSize(), this->rawData(), blockPosition);
        }
    }
    void sendFirstUpdate() override { this->sendPinUpdate(this->rawSize(), this->rawData()); }
};

typedef MpControlPin<float, gmpi::MP_IN, gmpi::MP_FLOAT32> FloatInPin;
typedef MpControlPin<float, gmpi::MP_OUT, gmpi::MP_FLOAT32> FloatOutPin;
typedef MpControlPin<int, gmpi::MP_IN, gmpi::MP_INT32> IntInPin;
typedef MpControlPin<int, gmpi::MP_OUT, gmpi::MP_INT32> IntOutPin;
typedef MpControlPin<int, gmpi::MP_IN, gmpi::MP_ENUM> EnumInPin;
typedef MpControlPin<int, gmpi::MP_OUT, gmpi::MP_ENUM> EnumOutPin;
typedef MpControlPin<bool, gmpi::MP_IN, gmpi::MP_BOOL> BoolInPin;
typedef MpControlPin<bool, gmpi::MP_OUT, gmpi::MP_BOOL> BoolOutPin;
typedef MpControlPin<std::wstring, gmpi::MP_OUT, gmpi::MP_STRING> StringOutPin;
typedef MpControlPin<MpBlob, gmpi::MP_IN, gmpi::MP_BLOB> BlobInPin;
typedef MpControlPin<MpBlob, gmpi::MP_OUT, gmpi::MP_BLOB> BlobOutPin;

// Wide text to UTF-8. Characters beyond U+10FFFF become U+FFFD.
std::string WStringToUtf8(const std::wstring& text);

class StringInPin : public MpControlPin<std::wstring, gmpi::MP_IN, gmpi::MP_STRING> {
public:
    operator std::string() const { return WStringToUtf8(value); }
    std::string getValueUtf8() const { return WStringToUtf8(value); }
};

class MidiInPin : public MpPinBase {
public:
    int getDatatype() const override { return gmpi::MP_MIDI; }
    int getDirection() const override { return gmpi::MP_IN; }
    MpBaseMemberPtr getDefaultEventHandler() override { return &MpPluginBase::midiHelper; }
    void sendFirstUpdate() override {}
};

class MidiOutPin : public MidiInPin {
public:
    int getDirection() const override { return gmpi::MP_OUT; }
    MpBaseMemberPtr getDefaultEventHandler() override { return nullptr; }
    virtual void send(const unsigned char* data, int size, int blockPosition = -1);
};

// An audio output that renders smooth transitions between control values.
class SmartAudioPin : public AudioOutPin {
public:
    typedef void (SmartAudioPin::*SubProcess_ptr)(int bufferOffset, int sampleFrames, bool& canSleep);

    void setTransitionTime(float samples);
    void setCurveType(int curve);
    void setValue(float value, int blockPosition = -1);
    void setValueInstant(float value, int blockPosition = -1);
    void pulse(float value, int blockPosition = -1);
    float getInstantValue() const { return currentValue; }
    float getTargetValue() const { return targetValue; }

    // The owner calls this from its own routine with its offset and count.
    void subProcess(int bufferOffset, int sampleFrames, bool& canSleep) {
        (this->*curProcess)(bufferOffset, sampleFrames, canSleep);
    }

    void subProcessFirstSample(int bufferOffset, int sampleFrames, bool& canSleep);
    void subProcessStatic(int bufferOffset, int sampleFrames, bool& canSleep);
    void subProcessRamp(int bufferOffset, int sampleFrames, bool& canSleep);
    void subProcessCurve(int bufferOffset, int sampleFrames, bool& canSleep);
    void subProcessPulse(int bufferOffset, int sampleFrames, bool& canSleep);

    SubProcess_ptr curProcess = &SmartAudioPin::subProcessFirstSample;
    float transitionSamples = 40.0f;
    float inverseTransition = 0.025f;
    float currentValue = 0.0f;
    float targetValue = 0.0f;
    int32_t curveType = 0;
    float dv = 0.0f;
    float ddv = 0.0f;
    float dddv = 0.0f;
    int32_t remainingSamples = 0;
    float fastestRate = 0.0f;
    float slowestRate = 0.0f;
};

// A linear ramp towards a target, one step per getNext().
class RampGenerator {
public:
    RampGenerator() : dv(0.0f), currentValue(0.0f) {}

    void setTransitionTime(float samples);
    void setTarget(float target);
    void setValueInstant(float value);
    float getNext();
    float getInstantValue() const { return currentValue; }
    float getTargetValue() const { return targetValue; }

    float dv;
    float currentValue;
    float targetValue = 0.0f;
    float inverseTransition = 1.0f;
    float transitionSamples = 0.0f;
};
