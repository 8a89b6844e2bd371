// The audio side of the reference host.
#include "tamhost/DspHost.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "tamhost/Pack.h"

namespace tamhost {

namespace {

// What createPinIterator yields: only the count is asked for.
class PinIterator : public gmpi::IMpPinIterator {
public:
    explicit PinIterator(int32_t count) : count_(count) {}
    virtual ~PinIterator() = default;
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override {
        if (object == nullptr) return MP_FAIL;
        *object = nullptr;
        if (iid != MP_IID_UNKNOWN) return MP_NOSUPPORT;
        *object = static_cast<gmpi::IMpUnknown*>(this);
        addRef();
        return MP_OK;
    }
    int32_t addRef() override { return ++refCount_; }
    int32_t release() override {
        if (--refCount_ == 0) {
            delete this;
            return 0;
        }
        return refCount_;
    }
    int32_t getCount(int32_t& count) override {
        count = count_;
        return MP_OK;
    }

private:
    int32_t count_;
    int32_t refCount_ = 1;
};

RawValue zeroValue(PinType type) {
    switch (type) {
        case PinType::Float:
        case PinType::Audio:
            return rawFloat(0.0f);
        case PinType::Int:
        case PinType::Enum:
            return rawInt(0);
        case PinType::Bool:
            return rawBool(false);
        default:
            return {};
    }
}

bool isAudioInput(const PinInfo& pin) { return pin.type == PinType::Audio && !pin.output; }
bool isValueInput(const PinInfo& pin) { return !pin.output && pin.type != PinType::Audio && pin.type != PinType::Midi; }

}  // namespace

// ---- HostContext --------------------------------------------------------

HostContext::HostContext(float rate, int size) : sampleRate(rate), blockSize(size) {}
HostContext::~HostContext() = default;

int32_t HostContext::requestSharedBlock(const std::wstring& name, void** pointer, int32_t size, int32_t* needsInit) {
    if (pointer == nullptr) return MP_FAIL;
    *pointer = nullptr;
    if (size <= 0) return MP_FAIL;
    auto it = shared_.find(name);
    if (it == shared_.end()) {
        SharedBlock block;
        const size_t words = (static_cast<size_t>(size) + sizeof(uint64_t) - 1) / sizeof(uint64_t);
        block.memory.reset(new uint64_t[words]());
        block.size = size;
        it = shared_.emplace(name, std::move(block)).first;
        if (needsInit != nullptr) *needsInit = 1;
    } else {
        if (size > it->second.size) return MP_FAIL;
        if (needsInit != nullptr) *needsInit = 0;
    }
    *pointer = it->second.memory.get();
    return MP_OK;
}

// ---- AudioHost ----------------------------------------------------------

AudioHost::AudioHost(HostContext& c) : context(c), handle(c.newHandle()) {}

int32_t AudioHost::queryInterface(const gmpi::MpGuid& iid, void** object) {
    if (object == nullptr) return MP_FAIL;
    *object = nullptr;
    if (iid != MP_IID_HOST && iid != MP_IID_UNKNOWN) return MP_NOSUPPORT;
    *object = static_cast<gmpi::IMpHost*>(this);
    addRef();
    return MP_OK;
}

int32_t AudioHost::addRef() { return ++refCount_; }

int32_t AudioHost::release() {
    if (--refCount_ == 0) {
        delete this;
        return 0;
    }
    return refCount_;
}

int32_t AudioHost::setPin(int32_t timeStamp, int32_t pinId, int32_t size, const void* data) {
    RecordedCall call;
    call.kind = RecordedCall::SetPin;
    call.block = blockIndex;
    call.timeStamp = timeStamp;
    call.time = blockStart + timeStamp;
    call.pinId = pinId;
    if (size > 0 && data != nullptr) {
        const auto* bytes = static_cast<const uint8_t*>(data);
        call.data.assign(bytes, bytes + size);
    }
    calls.push_back(std::move(call));
    return MP_OK;
}

int32_t AudioHost::setPinStreaming(int32_t timeStamp, int32_t pinId, int32_t isStreaming) {
    RecordedCall call;
    call.kind = RecordedCall::SetPinStreaming;
    call.block = blockIndex;
    call.timeStamp = timeStamp;
    call.time = blockStart + timeStamp;
    call.pinId = pinId;
    call.streaming = isStreaming != 0;
    calls.push_back(std::move(call));
    return MP_OK;
}

int32_t AudioHost::sleep() {
    RecordedCall call;
    call.kind = RecordedCall::Sleep;
    call.block = blockIndex;
    call.time = blockStart;
    calls.push_back(std::move(call));
    sleepRequested = true;
    return MP_OK;
}

int32_t AudioHost::getBlockSize(int32_t& size) {
    size = context.blockSize;
    return MP_OK;
}

int32_t AudioHost::getSampleRate(float& rate) {
    rate = context.sampleRate;
    return MP_OK;
}

int32_t AudioHost::getHandle(int32_t& h) {
    h = handle;
    return MP_OK;
}

int32_t AudioHost::createPinIterator(gmpi::IMpUnknown** iterator) {
    if (iterator == nullptr) return MP_FAIL;
    *iterator = new PinIterator(pinCount);
    return MP_OK;
}

int32_t AudioHost::getHostFlag(int32_t& flag) {
    flag = hostFlag ? *hostFlag : context.hostFlag;
    return MP_OK;
}

int32_t AudioHost::requestSharedBlock(const wchar_t* name, void** pointer, int32_t size, int32_t* needsInit, float) {
    if (name == nullptr) {
        if (pointer != nullptr) *pointer = nullptr;
        return MP_FAIL;
    }
    return context.requestSharedBlock(name, pointer, size, needsInit);
}

int32_t AudioHost::resolveFileName(const wchar_t* name, int32_t bufferLength, wchar_t* buffer) {
    if (name == nullptr || buffer == nullptr || bufferLength <= 0) return MP_FAIL;
    std::wstring full = name;
    if (!full.empty() && full[0] != L'/' && !context.baseFolder.empty()) {
        std::wstring base = widen(context.baseFolder);
        if (base.back() != L'/') base += L'/';
        full = base + full;
    }
    const size_t count = std::min(full.size(), static_cast<size_t>(bufferLength) - 1);
    std::wmemcpy(buffer, full.data(), count);
    buffer[count] = L'\0';
    return count == full.size() ? MP_OK : MP_FAIL;
}

// ---- DspModule ----------------------------------------------------------

DspModule::DspModule(const std::string& id, DspOptions options)
    : DspModule(Pack::shared(), Catalogue::shared(), id, options) {}

DspModule::DspModule(Pack& pack, const Catalogue& catalogue, const std::string& id, DspOptions options) {
    info_ = catalogue.get(id, 0);
    options_ = options;
    if (options_.context != nullptr) {
        context_ = options_.context;
    } else {
        ownContext_ = std::make_unique<HostContext>(options_.sampleRate, options_.blockSize);
        context_ = ownContext_.get();
    }
    host_ = new AudioHost(*context_);
    void* object = nullptr;
    const int32_t result = options_.firstRoute ? pack.createInstance(widen(id), 0, host_, &object)
                                               : pack.createInstance2(widen(id), 0, &object);
    if (result != MP_OK || object == nullptr) {
        host_->release();
        throw std::runtime_error("the pack made no DSP module " + id + " (result " + std::to_string(result) + ")");
    }
    setup(static_cast<gmpi::IMpUnknown*>(object), options_);
}

DspModule::DspModule(gmpi::IMpUnknown* instance, ModuleInfo info, DspOptions options) {
    info_ = std::move(info);
    options_ = options;
    if (options_.context != nullptr) {
        context_ = options_.context;
    } else {
        ownContext_ = std::make_unique<HostContext>(options_.sampleRate, options_.blockSize);
        context_ = ownContext_.get();
    }
    host_ = new AudioHost(*context_);
    if (instance == nullptr) {
        host_->release();
        throw std::runtime_error("no module instance given");
    }
    setup(instance, options_);
}

void DspModule::setup(gmpi::IMpUnknown* instance, DspOptions options) {
    instance_ = instance;
    void* face = nullptr;
    if (instance_->queryInterface(MP_IID_PLUGIN2, &face) != MP_OK || face == nullptr) {
        instance_->release();
        instance_ = nullptr;
        host_->release();
        host_ = nullptr;
        throw std::runtime_error("module " + info_.id + " has no IMpPlugin2 face");
    }
    plugin_ = static_cast<gmpi::IMpPlugin2*>(face);
    host_->pinCount = options.pinCount ? *options.pinCount : static_cast<int32_t>(info_.pins.size());
    host_->hostFlag = options.hostFlag;
}

DspModule::~DspModule() {
    if (plugin_ != nullptr) plugin_->release();
    if (instance_ != nullptr) instance_->release();
    if (host_ != nullptr) host_->release();
}

void DspModule::setAudioInput(int pin, std::vector<float> signal) { inputSignals_[pin] = std::move(signal); }

void DspModule::setStreaming(int pin, bool streaming, int64_t time) {
    if (!started_ && time <= 0) {
        initialStreaming_[pin] = streaming;
        return;
    }
    queue(time, streaming ? gmpi::EVENT_PIN_STREAMING_START : gmpi::EVENT_PIN_STREAMING_STOP, pin, {});
}

void DspModule::queueValue(int pin, RawValue raw, int64_t time) {
    if (!started_ && time <= 0) {
        initialValues_[pin] = std::move(raw);
        return;
    }
    queue(time < 0 ? time_ : time, gmpi::EVENT_PIN_SET, pin, std::move(raw));
}

void DspModule::setFloat(int pin, float value, int64_t time) { queueValue(pin, rawFloat(value), time); }
void DspModule::setInt(int pin, int32_t value, int64_t time) { queueValue(pin, rawInt(value), time); }
void DspModule::setBool(int pin, bool value, int64_t time) { queueValue(pin, rawBool(value), time); }
void DspModule::setString(int pin, const std::wstring& value, int64_t time) { queueValue(pin, rawString(value), time); }
void DspModule::setBlob(int pin, const std::vector<uint8_t>& bytes, int64_t time) { queueValue(pin, rawBlob(bytes), time); }
void DspModule::setRaw(int pin, const RawValue& raw, int64_t time) { queueValue(pin, raw, time); }

void DspModule::sendMidi(int pin, const std::vector<uint8_t>& bytes, int64_t time) {
    queue(time, gmpi::EVENT_MIDI, pin, bytes);
}

void DspModule::queueRawEvent(int64_t time, int32_t type, int32_t pin, const RawValue& data) {
    queue(time, type, pin, data);
}

void DspModule::queue(int64_t time, int32_t type, int32_t pin, RawValue data) {
    // An event in the past is delivered with the next block.
    pending_.push_back({std::max(time, time_), order_++, type, pin, std::move(data)});
}

void DspModule::open() {
    if (opened_) return;
    if (!options_.firstRoute) {
        const int32_t result = plugin_->setHost(host_);
        if (result != MP_OK) throw std::runtime_error("setHost of " + info_.id + " failed");
    }
    plugin_->open();
    opened_ = true;
    // Buffers after open: a module may make its pins there.
    const int size = std::max(context_->blockSize, options_.blockSize);
    for (const auto& pin : info_.pins) {
        if (pin.type != PinType::Audio) continue;
        auto& buffer = buffers_[pin.index];
        buffer.assign(static_cast<size_t>(std::max(size, 1)), 0.0f);
        plugin_->setBuffer(pin.index, buffer.data());
    }
}

void DspModule::fillInputs(int count) {
    for (const auto& pin : info_.pins) {
        if (!isAudioInput(pin)) continue;
        float* buffer = buffers_[pin.index].data();
        const auto signal = inputSignals_.find(pin.index);
        if (signal == inputSignals_.end()) {
            const float level = pin.defaultRaw ? floatFromRaw(*pin.defaultRaw) : 0.0f;
            std::fill(buffer, buffer + count, level);
            continue;
        }
        const std::vector<float>& samples = signal->second;
        const float hold = samples.empty() ? 0.0f : samples.back();
        for (int i = 0; i < count; ++i) {
            const auto at = static_cast<size_t>(time_ + i);
            buffer[i] = at < samples.size() ? samples[at] : hold;
        }
    }
}

void DspModule::runBlock(int count) {
    if (count < 0) count = 0;
    open();

    // Grow the buffers when a block is larger than any before.
    for (auto& [index, buffer] : buffers_) {
        if (buffer.size() < static_cast<size_t>(count)) {
            buffer.resize(static_cast<size_t>(count), buffer.empty() ? 0.0f : buffer.back());
            plugin_->setBuffer(index, buffer.data());
        }
    }

    std::vector<PendingEvent> due;
    if (!started_ && options_.sendInitialValues) {
        for (const auto& pin : info_.pins) {
            if (isValueInput(pin)) {
                RawValue raw;
                if (auto it = initialValues_.find(pin.index); it != initialValues_.end()) raw = it->second;
                else if (pin.defaultRaw) raw = *pin.defaultRaw;
                else raw = zeroValue(pin.type);
                due.push_back({time_, -3, gmpi::EVENT_PIN_SET, pin.index, std::move(raw)});
            } else if (isAudioInput(pin)) {
                const auto it = initialStreaming_.find(pin.index);
                const bool streaming = it != initialStreaming_.end() && it->second;
                due.push_back({time_, -2, streaming ? gmpi::EVENT_PIN_STREAMING_START : gmpi::EVENT_PIN_STREAMING_STOP,
                               pin.index, {}});
            }
        }
        due.push_back({time_, -1, gmpi::EVENT_GRAPH_START, 0, {}});
    } else if (!started_) {
        // Values given to a module that gets no first group still arrive.
        for (auto& [index, raw] : initialValues_) due.push_back({time_, -3, gmpi::EVENT_PIN_SET, index, raw});
        for (auto& [index, streaming] : initialStreaming_)
            due.push_back({time_, -2, streaming ? gmpi::EVENT_PIN_STREAMING_START : gmpi::EVENT_PIN_STREAMING_STOP,
                           index, {}});
    }
    started_ = true;

    const int64_t end = time_ + count;
    auto split = std::stable_partition(pending_.begin(), pending_.end(),
                                       [end](const PendingEvent& e) { return e.time >= end; });
    for (auto it = split; it != pending_.end(); ++it) due.push_back(std::move(*it));
    pending_.erase(split, pending_.end());
    std::stable_sort(due.begin(), due.end(), [](const PendingEvent& a, const PendingEvent& b) {
        return a.time != b.time ? a.time < b.time : a.order < b.order;
    });

    eventStorage_.assign(due.size(), gmpi::MpEvent{});
    for (size_t i = 0; i < due.size(); ++i) {
        gmpi::MpEvent& e = eventStorage_[i];
        PendingEvent& p = due[i];
        e.timeDelta = static_cast<int32_t>(p.time - time_);
        e.eventType = p.type;
        e.parm1 = p.pin;
        e.parm2 = static_cast<int32_t>(p.data.size());
        if (p.data.size() <= 8) {
            if (!p.data.empty()) std::memcpy(&e.parm3, p.data.data(), p.data.size());
            e.extraData = nullptr;
        } else {
            e.extraData = reinterpret_cast<char*>(p.data.data());
        }
        e.next = i + 1 < due.size() ? &eventStorage_[i + 1] : nullptr;
    }

    fillInputs(count);
    host_->blockIndex = blocks_;
    host_->blockStart = time_;
    if (!sleeping_ || !due.empty()) {
        sleeping_ = false;
        host_->sleepRequested = false;
        plugin_->process(count, due.empty() ? nullptr : eventStorage_.data());
        ++processCalls_;
        sleeping_ = host_->sleepRequested;
    }

    for (const auto& pin : info_.pins) {
        if (!options_.recordOutputs || pin.type != PinType::Audio || !pin.output) continue;
        const float* buffer = buffers_[pin.index].data();
        auto& out = outputs_[pin.index];
        out.insert(out.end(), buffer, buffer + count);
    }
    time_ = end;
    ++blocks_;
}

void DspModule::run(int64_t frames, int blockSize) {
    const int size = blockSize > 0 ? blockSize : (options_.blockSize > 0 ? options_.blockSize : 64);
    while (frames > 0) {
        const int n = static_cast<int>(std::min<int64_t>(frames, size));
        runBlock(n);
        frames -= n;
    }
}

const std::vector<float>& DspModule::output(int pin) const {
    static const std::vector<float> none;
    const auto it = outputs_.find(pin);
    return it == outputs_.end() ? none : it->second;
}

const std::vector<float>& DspModule::buffer(int pin) const {
    static const std::vector<float> none;
    const auto it = buffers_.find(pin);
    return it == buffers_.end() ? none : it->second;
}

std::vector<RecordedCall> DspModule::callsForPin(int pin) const {
    std::vector<RecordedCall> result;
    for (const auto& c : host_->calls) {
        if (c.pinId == pin && c.kind != RecordedCall::Sleep) result.push_back(c);
    }
    return result;
}

std::vector<RecordedCall> DspModule::valueCalls(int pin) const {
    std::vector<RecordedCall> result;
    for (const auto& c : host_->calls) {
        if (c.pinId == pin && c.kind == RecordedCall::SetPin) result.push_back(c);
    }
    return result;
}

std::vector<RecordedCall> DspModule::streamingCalls(int pin) const {
    std::vector<RecordedCall> result;
    for (const auto& c : host_->calls) {
        if (c.pinId == pin && c.kind == RecordedCall::SetPinStreaming) result.push_back(c);
    }
    return result;
}

int DspModule::sleepCalls() const {
    return static_cast<int>(std::count_if(host_->calls.begin(), host_->calls.end(),
                                          [](const RecordedCall& c) { return c.kind == RecordedCall::Sleep; }));
}

}  // namespace tamhost
