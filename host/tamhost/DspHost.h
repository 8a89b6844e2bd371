// The audio side of the reference host: a host context shared by the voices
// of one graph, the host object each module instance talks to, and DspModule,
// which creates a module through the pack's factory and runs it block by
// block with sorted event lists, recording everything the module sends.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "frame/mp_sdk_audio.h"
#include "tamhost/Catalogue.h"
#include "tamhost/Values.h"

namespace tamhost {

class Pack;

// What a graph's modules share: rate, block size, handles and the named
// shared blocks (needsInit is 1 only for the first requester of a name).
class HostContext {
public:
    explicit HostContext(float sampleRate = 44100.0f, int blockSize = 64);
    ~HostContext();
    HostContext(const HostContext&) = delete;
    HostContext& operator=(const HostContext&) = delete;

    float sampleRate = 44100.0f;
    int blockSize = 64;    // what getBlockSize reports; run() may use others
    int hostFlag = 0;      // what getHostFlag reports unless a module overrides
    std::string baseFolder;  // relative file names resolve against this

    int32_t newHandle() { return nextHandle_++; }
    // Zero-filled memory common to all requesters of one name. A request
    // larger than the first one fails (null, MP_FAIL).
    int32_t requestSharedBlock(const std::wstring& name, void** pointer, int32_t size, int32_t* needsInit);
    size_t sharedBlockCount() const { return shared_.size(); }

private:
    struct SharedBlock {
        std::unique_ptr<uint64_t[]> memory;
        int32_t size = 0;
    };
    std::map<std::wstring, SharedBlock> shared_;
    int32_t nextHandle_ = 1;
};

// One call a module made on its host.
struct RecordedCall {
    enum Kind { SetPin, SetPinStreaming, Sleep };
    Kind kind = SetPin;
    int64_t block = 0;      // index of the block in which it was made
    int32_t timeStamp = 0;  // as the module gave it, relative to the block
    int64_t time = 0;       // block start + timeStamp
    int32_t pinId = -1;
    RawValue data;          // SetPin
    bool streaming = false;  // SetPinStreaming

    float asFloat() const { return floatFromRaw(data); }
    int32_t asInt() const { return intFromRaw(data); }
    bool asBool() const { return boolFromRaw(data); }
    std::wstring asString() const { return stringFromRaw(data); }
};

// The object behind MP_IID_HOST for one module instance.
class AudioHost : public gmpi::IMpHost {
public:
    explicit AudioHost(HostContext& context);
    virtual ~AudioHost() = default;

    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override;
    int32_t addRef() override;
    int32_t release() override;
    int32_t setPin(int32_t timeStamp, int32_t pinId, int32_t size, const void* data) override;
    int32_t setPinStreaming(int32_t timeStamp, int32_t pinId, int32_t isStreaming) override;
    int32_t sleep() override;
    int32_t reservedSlot6() override { return MP_NOSUPPORT; }
    int32_t getBlockSize(int32_t& size) override;
    int32_t getSampleRate(float& rate) override;
    int32_t getHandle(int32_t& handle) override;
    int32_t reservedSlot10() override { return MP_NOSUPPORT; }
    int32_t reservedSlot11() override { return MP_NOSUPPORT; }
    int32_t reservedSlot12() override { return MP_NOSUPPORT; }
    int32_t createPinIterator(gmpi::IMpUnknown** iterator) override;
    int32_t getHostFlag(int32_t& flag) override;
    int32_t reservedSlot15() override { return MP_NOSUPPORT; }
    int32_t requestSharedBlock(const wchar_t* name, void** pointer, int32_t size, int32_t* needsInit, float rate) override;
    // Absolute names stay; others are joined to the context's base folder.
    // Writes at most bufferLength characters including the terminator.
    int32_t resolveFileName(const wchar_t* name, int32_t bufferLength, wchar_t* buffer) override;

    HostContext& context;
    int32_t handle;
    int32_t pinCount = 0;
    std::optional<int32_t> hostFlag;  // overrides the context's
    int64_t blockIndex = 0;           // kept current by the runner
    int64_t blockStart = 0;
    bool sleepRequested = false;
    std::vector<RecordedCall> calls;

private:
    int32_t refCount_ = 1;
};

struct DspOptions {
    HostContext* context = nullptr;  // null: the module gets its own
    float sampleRate = 44100.0f;     // for an own context
    int blockSize = 64;              // for an own context, and run()'s default
    std::optional<int> pinCount = std::nullopt;  // pin iterator count; default catalogue's
    std::optional<int> hostFlag = std::nullopt;
    bool firstRoute = false;         // createInstance with the host, not createInstance2 + setHost
    bool sendInitialValues = true;   // every input's value + streaming state with graph start
    bool recordOutputs = true;       // false: output() stays empty (long runs, benchmarks)
};

// A DSP module instance driven like the host drives it:
//   DspModule m("TamVCA");
//   m.setAudioInput(0, signal); m.setStreaming(0, true);
//   m.setFloat(1, 5.0f, 100);   // at sample 100
//   m.run(1024, 64);
//   auto out = m.output(2);
class DspModule {
public:
    // Made through the shared pack and catalogue (kind 0).
    explicit DspModule(const std::string& id, DspOptions options = {});
    // Made through a given pack and catalogue.
    DspModule(Pack& pack, const Catalogue& catalogue, const std::string& id, DspOptions options = {});
    // Wraps an instance made elsewhere (e.g. a module compiled into a test);
    // takes over the one reference. info gives its pins.
    DspModule(gmpi::IMpUnknown* instance, ModuleInfo info, DspOptions options = {});
    ~DspModule();
    DspModule(const DspModule&) = delete;
    DspModule& operator=(const DspModule&) = delete;

    const ModuleInfo& info() const { return info_; }
    gmpi::IMpPlugin2* plugin() const { return plugin_; }
    AudioHost& host() { return *host_; }
    HostContext& context() { return *context_; }

    // ---- inputs (times are absolute sample numbers from the start) -------
    // The whole signal of an audio input from sample 0; after its end the
    // last sample holds (0 for an empty signal).
    void setAudioInput(int pin, std::vector<float> signal);
    void setAudioInputConstant(int pin, float value) { setAudioInput(pin, {value}); }
    // Queues a streaming start/stop; before open() (or at time 0 with no
    // run yet) it sets the state sent with graph start instead.
    void setStreaming(int pin, bool streaming, int64_t time = 0);

    // Values: time -1 (the default) sets the value sent in the first group
    // (before the first run) or queues it at the current time (after).
    void setFloat(int pin, float value, int64_t time = -1);
    void setInt(int pin, int32_t value, int64_t time = -1);
    void setEnum(int pin, int32_t value, int64_t time = -1) { setInt(pin, value, time); }
    void setBool(int pin, bool value, int64_t time = -1);
    void setString(int pin, const std::wstring& value, int64_t time = -1);
    void setBlob(int pin, const std::vector<uint8_t>& bytes, int64_t time = -1);
    void setRaw(int pin, const RawValue& raw, int64_t time = -1);
    void sendMidi(int pin, const std::vector<uint8_t>& bytes, int64_t time);
    // Any event, for hostile-input tests: size and data as given.
    void queueRawEvent(int64_t time, int32_t type, int32_t pin, const RawValue& data);

    // ---- running ---------------------------------------------------------
    // setHost, setBuffer for every audio pin, open. run() does it if needed.
    void open();
    // Renders frames in blocks of blockSize (0: the options' block size).
    void run(int64_t frames, int blockSize = 0);
    // One block of exactly count frames.
    void runBlock(int count);

    // ---- results ---------------------------------------------------------
    // Every sample an audio output held after each block since the start.
    const std::vector<float>& output(int pin) const;
    float outputAt(int pin, int64_t time) const { return output(pin).at(static_cast<size_t>(time)); }
    // The buffer a pin has now (the last block's samples at its start).
    const std::vector<float>& buffer(int pin) const;
    void clearOutputs() { outputs_.clear(); }
    const std::vector<RecordedCall>& calls() const { return host_->calls; }
    std::vector<RecordedCall> callsForPin(int pin) const;
    std::vector<RecordedCall> valueCalls(int pin) const;      // SetPin only
    std::vector<RecordedCall> streamingCalls(int pin) const;  // SetPinStreaming only
    int sleepCalls() const;
    void clearCalls() { host_->calls.clear(); }

    int64_t time() const { return time_; }
    int64_t blocksRun() const { return blocks_; }
    int64_t processCalls() const { return processCalls_; }
    bool sleeping() const { return sleeping_; }
    bool isOpen() const { return opened_; }

private:
    struct PendingEvent {
        int64_t time;
        int64_t order;
        int32_t type;
        int32_t pin;
        RawValue data;
    };
    void setup(gmpi::IMpUnknown* instance, DspOptions options);
    void queueValue(int pin, RawValue raw, int64_t time);
    void queue(int64_t time, int32_t type, int32_t pin, RawValue data);
    void fillInputs(int count);

    ModuleInfo info_;
    DspOptions options_;
    std::unique_ptr<HostContext> ownContext_;
    HostContext* context_ = nullptr;
    AudioHost* host_ = nullptr;
    gmpi::IMpUnknown* instance_ = nullptr;
    gmpi::IMpPlugin2* plugin_ = nullptr;
    bool opened_ = false;
    bool started_ = false;
    bool sleeping_ = false;
    int64_t time_ = 0;
    int64_t blocks_ = 0;
    int64_t processCalls_ = 0;
    int64_t order_ = 0;

    std::map<int, std::vector<float>> buffers_;       // what the module sees
    std::map<int, std::vector<float>> inputSignals_;
    std::map<int, std::vector<float>> outputs_;
    std::map<int, RawValue> initialValues_;
    std::map<int, bool> initialStreaming_;
    std::vector<PendingEvent> pending_;
    std::vector<gmpi::MpEvent> eventStorage_;
};

}  // namespace tamhost
