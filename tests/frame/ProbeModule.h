// A small module built on the frame, with one pin of each kind, that logs
// what the block loop does to it. Driven directly with hand-built event lists
// and the reference host's AudioHost as its host.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "frame/mp_sdk_audio.h"
#include "tamhost/DspHost.h"

namespace probe {

enum Pin { kIn = 0, kGain = 1, kFlag = 2, kOut = 3, kMidi = 4, kCount = 5, kText = 6, kBlob = 7, kGainOut = 8 };

struct Slice {
    int offset;
    int frames;
    bool noEventsPending;
    bool operator==(const Slice& o) const {
        return offset == o.offset && frames == o.frames && noEventsPending == o.noEventsPending;
    }
};

class ProbeModule : public MpBase {
public:
    ProbeModule() {
        initializePin(kIn, in);
        initializePin(kGain, gain);
        initializePin(kFlag, flag);
        initializePin(kOut, out);
        initializePin(kMidi, midi);
        initializePin(kCount, count);
        initializePin(kText, text);
        initializePin(kBlob, blob);
        initializePin(kGainOut, gainOut);
        setSubProcess(&ProbeModule::subProcess);
    }

    void onSetPins() override {
        log.push_back("set@" + std::to_string(blockPos) + (gain.isUpdated() ? " gain" : "") +
                      (flag.isUpdated() ? " flag" : "") + (in.isUpdated() ? " in" : ""));
        if (onSetPinsAction) onSetPinsAction(*this);
    }
    void onMidiMessage(int pin, const unsigned char* bytes, int size) override {
        log.push_back("midi pin " + std::to_string(pin) + " size " + std::to_string(size));
        midiBytes.assign(bytes, bytes + (size > 0 ? size : 0));
    }
    int32_t receiveMessageFromGui(int32_t id, int32_t size, const void*) override {
        if (!answerGui) return MpPluginBase::receiveMessageFromGui(id, size, static_cast<const void*>(nullptr));
        return id + size;
    }

    void subProcess(int bufferOffset, int sampleFrames) {
        slices.push_back({bufferOffset, sampleFrames, noEventsPending});
        float* o = out.buffer + bufferOffset;
        for (int i = 0; i < sampleFrames; ++i) o[i] = gain.value;
    }
    void subProcessOther(int bufferOffset, int sampleFrames) {
        slices.push_back({bufferOffset, -sampleFrames, noEventsPending});
    }

    AudioInPin in;
    FloatInPin gain;
    BoolInPin flag;
    AudioOutPin out;
    MidiInPin midi;
    IntInPin count;
    StringInPin text;
    BlobInPin blob;
    FloatOutPin gainOut;

    bool answerGui = false;
    void (*onSetPinsAction)(ProbeModule&) = nullptr;
    std::vector<std::string> log;
    std::vector<Slice> slices;
    std::vector<unsigned char> midiBytes;
};

// Builds linked event lists whose storage outlives the process call.
class EventList {
public:
    EventList& value(int time, int pin, const void* data, int size) {
        gmpi::MpEvent e{};
        e.timeDelta = time;
        e.eventType = gmpi::EVENT_PIN_SET;
        e.parm1 = pin;
        e.parm2 = size;
        add(e, data, size);
        return *this;
    }
    EventList& floatValue(int time, int pin, float v) { return value(time, pin, &v, 4); }
    EventList& streaming(int time, int pin, bool on) {
        gmpi::MpEvent e{};
        e.timeDelta = time;
        e.eventType = on ? gmpi::EVENT_PIN_STREAMING_START : gmpi::EVENT_PIN_STREAMING_STOP;
        e.parm1 = pin;
        events_.push_back(e);
        longData_.resize(events_.size(), -1);
        return *this;
    }
    EventList& midi(int time, int pin, const std::vector<unsigned char>& bytes) {
        gmpi::MpEvent e{};
        e.timeDelta = time;
        e.eventType = gmpi::EVENT_MIDI;
        e.parm1 = pin;
        e.parm2 = static_cast<int32_t>(bytes.size());
        add(e, bytes.data(), static_cast<int>(bytes.size()));
        return *this;
    }
    EventList& graphStart(int time) {
        gmpi::MpEvent e{};
        e.timeDelta = time;
        e.eventType = gmpi::EVENT_GRAPH_START;
        events_.push_back(e);
        longData_.resize(events_.size(), -1);
        return *this;
    }
    // Short data with a size word claiming more than parm3/parm4 hold.
    EventList& raw(gmpi::MpEvent e) {
        e.next = nullptr;
        events_.push_back(e);
        longData_.resize(events_.size(), -1);
        return *this;
    }
    gmpi::MpEvent* head() {
        for (size_t i = 0; i < events_.size(); ++i) {
            events_[i].next = i + 1 < events_.size() ? &events_[i + 1] : nullptr;
            if (longData_[i] >= 0) events_[i].extraData = payloads_[static_cast<size_t>(longData_[i])].data();
        }
        return events_.empty() ? nullptr : events_.data();
    }

private:
    void add(gmpi::MpEvent e, const void* data, int size) {
        if (size <= 8) {
            std::memcpy(&e.parm3, data, static_cast<size_t>(size));
            events_.push_back(e);
            longData_.resize(events_.size(), -1);
            return;
        }
        payloads_.emplace_back(static_cast<const char*>(data), static_cast<const char*>(data) + size);
        events_.push_back(e);
        longData_.resize(events_.size(), -1);
        longData_.back() = static_cast<int>(payloads_.size()) - 1;
    }

    std::vector<gmpi::MpEvent> events_;
    std::vector<int> longData_;
    std::vector<std::vector<char>> payloads_;
};

// A probe with a host and buffers, as the host would set it up.
struct Rig {
    explicit Rig(int blockSize = 32) : context(48000.0f, blockSize) {
        host = new tamhost::AudioHost(context);
        module = new ProbeModule;
        module->setHost(host);
        module->open();
        inBuffer.assign(1024, 0.0f);
        outBuffer.assign(1024, -1.0f);
        module->setBuffer(kIn, inBuffer.data());
        module->setBuffer(kOut, outBuffer.data());
    }
    ~Rig() {
        module->release();
        host->release();
    }
    Rig(const Rig&) = delete;
    Rig& operator=(const Rig&) = delete;

    void process(int count, EventList& events) { module->MpBase::process(count, static_cast<const gmpi::MpEvent*>(events.head())); }
    void process(int count) { module->MpBase::process(count, static_cast<const gmpi::MpEvent*>(nullptr)); }
    int sleeps() const {
        int n = 0;
        for (const auto& c : host->calls) n += c.kind == tamhost::RecordedCall::Sleep;
        return n;
    }

    tamhost::HostContext context;
    tamhost::AudioHost* host;
    ProbeModule* module;
    std::vector<float> inBuffer;
    std::vector<float> outBuffer;
};

}  // namespace probe
