// Runs a graph of pack modules block by block.
#include "tamhost/PatchGraph.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "tamhost/GuiHost.h"
#include "tamhost/Pack.h"

namespace tamhost {

namespace {

// A GUI cycle whose members keep changing each other is cut off here.
constexpr int kMaxGuiDepth = 32;

bool isValueType(PinType type) { return type != PinType::Audio && type != PinType::Midi; }

bool typesMatch(PinType a, PinType b) {
    auto group = [](PinType t) { return t == PinType::Enum ? PinType::Int : t; };
    return group(a) == group(b);
}

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

float defaultLevel(const PinInfo& pin) { return pin.defaultRaw ? floatFromRaw(*pin.defaultRaw) : 0.0f; }

}  // namespace

struct Graph::Node {
    std::string name;
    ModuleInfo info;
    int kind = 0;
    AudioHost* host = nullptr;
    gmpi::IMpUnknown* instance = nullptr;
    gmpi::IMpPlugin2* plugin = nullptr;
    std::unique_ptr<GuiModule> gui;

    std::map<int, std::vector<float>> buffers;  // outputs and inputs with own buffers
    std::map<int, const float*> bound;          // what each audio pin was given
    std::map<int, AudioSource> sources;
    std::map<int, InputFeed> feeds;
    std::map<int, RawValue> initialValues;
    std::vector<Pending> pending;
    std::vector<Pending> due;
    std::vector<gmpi::MpEvent> events;
    std::vector<RecordedCall> recorded;
    bool opened = false;
    bool started = false;
    bool sleeping = false;
    int64_t processCalls = 0;

    ~Node() {
        if (plugin != nullptr) plugin->release();
        if (instance != nullptr) instance->release();
        if (host != nullptr) host->release();
    }
};

Graph::Graph(GraphOptions options) : Graph(Pack::shared(), Catalogue::shared(), std::move(options)) {}

Graph::Graph(Pack& pack, const Catalogue& catalogue, GraphOptions options)
    : pack_(pack), catalogue_(catalogue), options_(std::move(options)) {
    if (options_.blockSize < 1) options_.blockSize = 1;
    context_ = std::make_unique<HostContext>(options_.sampleRate, options_.blockSize);
    context_->baseFolder = options_.baseFolder;
}

Graph::~Graph() {
    // Modules go before the context their hosts refer to.
    nodes_.clear();
}

void Graph::requireBuilding(const char* what) const {
    if (prepared_) throw std::runtime_error(std::string(what) + " after the graph has started");
}

int Graph::addModule(const std::string& name, const std::string& id, int kind) {
    requireBuilding("adding a module");
    if (findNode(name) >= 0) throw std::runtime_error("a module named '" + name + "' exists already");
    auto node = std::make_unique<Node>();
    node->name = name;
    node->info = catalogue_.get(id, kind);
    node->kind = kind;
    const int index = static_cast<int>(nodes_.size());
    if (kind == 0) {
        node->host = new AudioHost(*context_);
        node->host->pinCount = static_cast<int32_t>(node->info.pins.size());
        void* object = nullptr;
        const int32_t result = pack_.createInstance2(widen(id), 0, &object);
        if (result != MP_OK || object == nullptr)
            throw std::runtime_error("the pack made no DSP module " + id + " (result " + std::to_string(result) + ")");
        node->instance = static_cast<gmpi::IMpUnknown*>(object);
        void* face = nullptr;
        if (node->instance->queryInterface(MP_IID_PLUGIN2, &face) != MP_OK || face == nullptr)
            throw std::runtime_error("module " + id + " has no DSP face");
        node->plugin = static_cast<gmpi::IMpPlugin2*>(face);
    } else {
        GuiOptions gui;
        gui.baseFolder = options_.baseFolder;
        node->gui = std::make_unique<GuiModule>(pack_, catalogue_, id, kind, gui);
        node->gui->host().onTransmit = [this, index](const Transmission& t) { onGuiTransmit(index, t); };
    }
    nodes_.push_back(std::move(node));
    return index;
}

int Graph::addInstance(const std::string& name, gmpi::IMpUnknown* instance, ModuleInfo info) {
    requireBuilding("adding a module");
    if (instance == nullptr) throw std::runtime_error("no module instance given");
    auto node = std::make_unique<Node>();
    node->instance = instance;
    if (findNode(name) >= 0) throw std::runtime_error("a module named '" + name + "' exists already");
    node->name = name;
    node->info = std::move(info);
    node->host = new AudioHost(*context_);
    node->host->pinCount = static_cast<int32_t>(node->info.pins.size());
    void* face = nullptr;
    if (instance->queryInterface(MP_IID_PLUGIN2, &face) != MP_OK || face == nullptr)
        throw std::runtime_error("module " + name + " has no DSP face");
    node->plugin = static_cast<gmpi::IMpPlugin2*>(face);
    nodes_.push_back(std::move(node));
    return static_cast<int>(nodes_.size()) - 1;
}

int Graph::addGuiModule(const std::string& name, gmpi::IMpFactory2* factory, ModuleInfo info) {
    requireBuilding("adding a module");
    if (findNode(name) >= 0) throw std::runtime_error("a module named '" + name + "' exists already");
    auto node = std::make_unique<Node>();
    node->name = name;
    node->info = info;
    node->kind = info.kind == 0 ? 1 : info.kind;
    GuiOptions gui;
    gui.baseFolder = options_.baseFolder;
    node->gui = std::make_unique<GuiModule>(factory, std::move(info), gui);
    const int index = static_cast<int>(nodes_.size());
    node->gui->host().onTransmit = [this, index](const Transmission& t) { onGuiTransmit(index, t); };
    nodes_.push_back(std::move(node));
    return index;
}

int Graph::findNode(const std::string& name) const {
    for (size_t i = 0; i < nodes_.size(); ++i)
        if (nodes_[i]->name == name) return static_cast<int>(i);
    return -1;
}

const std::string& Graph::nodeName(int node) const { return nodes_.at(static_cast<size_t>(node))->name; }
const ModuleInfo& Graph::info(int node) const { return nodes_.at(static_cast<size_t>(node))->info; }

int Graph::findPin(int node, const std::string& pin) const {
    const ModuleInfo& module = info(node);
    for (const auto& p : module.pins)
        if (p.name == pin) return p.index;
    if (!pin.empty() && pin.size() < 6 && std::all_of(pin.begin(), pin.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        const int index = std::stoi(pin);
        if (module.pin(index) != nullptr) return index;
    }
    return -1;
}

void Graph::connect(int fromNode, int fromPin, int toNode, int toPin) {
    requireBuilding("connecting");
    const Node& from = *nodes_.at(static_cast<size_t>(fromNode));
    const Node& to = *nodes_.at(static_cast<size_t>(toNode));
    const PinInfo* out = from.info.pin(fromPin);
    const PinInfo* in = to.info.pin(toPin);
    auto where = [](const Node& n, const PinInfo* p) { return n.name + "." + (p ? p->name : "?"); };
    if (out == nullptr || in == nullptr) throw std::runtime_error("no such pin");
    if (!out->output) throw std::runtime_error(where(from, out) + " is an input, not an output");
    if (in->output) throw std::runtime_error(where(to, in) + " is an output, not an input");
    if (!typesMatch(out->type, in->type))
        throw std::runtime_error(std::string("cannot connect ") + pinTypeName(out->type) + " " + where(from, out) +
                                 " to " + pinTypeName(in->type) + " " + where(to, in));
    if ((from.kind != 0 || to.kind != 0) && !isValueType(in->type))
        throw std::runtime_error("GUI modules carry values only: " + where(from, out) + " -> " + where(to, in));
    if (isValueType(in->type)) {
        for (const auto& c : connections_)
            if (c.toNode == toNode && c.toPin == toPin)
                throw std::runtime_error(where(to, in) + " has a connection already");
    }
    connections_.push_back({fromNode, fromPin, toNode, toPin, false});
}

void Graph::queue(Node& node, int64_t time, int32_t type, int32_t pin, RawValue data) {
    node.pending.push_back({std::max<int64_t>(time, 0), order_counter_++, type, pin, std::move(data)});
}

void Graph::setValue(int nodeIndex, int pin, const RawValue& raw, int64_t time) {
    Node& node = *nodes_.at(static_cast<size_t>(nodeIndex));
    const PinInfo* info = node.info.pin(pin);
    if (info == nullptr || info->output || !isValueType(info->type))
        throw std::runtime_error(node.name + ": pin " + std::to_string(pin) + " takes no value");
    if (node.gui) {
        if (guiDepth_ >= kMaxGuiDepth) return;
        ++guiDepth_;
        node.gui->setRaw(pin, raw);
        --guiDepth_;
        return;
    }
    if (!node.started && !inBlock_ && time <= 0) {
        node.initialValues[pin] = raw;
        return;
    }
    queue(node, time >= 0 ? time : (inBlock_ ? blockEnd_ : time_), gmpi::EVENT_PIN_SET, pin, raw);
}

Graph::AudioSource& Graph::sourceFor(Node& node, int pin) {
    const PinInfo* info = node.info.pin(pin);
    if (node.gui || info == nullptr || info->output || info->type != PinType::Audio)
        throw std::runtime_error(node.name + ": pin " + std::to_string(pin) + " is no audio input");
    auto [it, fresh] = node.sources.try_emplace(pin);
    if (fresh) it->second.level = it->second.current = defaultLevel(*info);
    return it->second;
}

void Graph::setAudioSignal(int nodeIndex, int pin, std::vector<float> signal) {
    requireBuilding("giving a signal");
    Node& node = *nodes_.at(static_cast<size_t>(nodeIndex));
    AudioSource& source = sourceFor(node, pin);
    const auto length = static_cast<int64_t>(signal.size());
    source.signal = std::move(signal);
    source.level = source.current = 0.0f;
    if (length > 0) queue(node, length, gmpi::EVENT_PIN_STREAMING_STOP, pin, {});
}

void Graph::setAudioLevel(int nodeIndex, int pin, float level, int64_t time, int64_t rampLength) {
    Node& node = *nodes_.at(static_cast<size_t>(nodeIndex));
    AudioSource& source = sourceFor(node, pin);
    time = std::max<int64_t>(time, prepared_ ? time_ : 0);
    rampLength = std::max<int64_t>(rampLength, 0);
    if (!prepared_ && time == 0 && rampLength == 0 && source.signal.empty()) {
        source.level = source.current = level;  // goes with the first group
        return;
    }
    // Kept in time order; a change at the same time as another comes after it.
    auto at = std::upper_bound(source.changes.begin() + static_cast<std::ptrdiff_t>(source.next), source.changes.end(), time,
                               [](int64_t t, const LevelChange& c) { return t < c.time; });
    source.changes.insert(at, {time, rampLength, level});
    if (rampLength > 0) {
        queue(node, time, gmpi::EVENT_PIN_STREAMING_START, pin, {});
        queue(node, time + rampLength, gmpi::EVENT_PIN_STREAMING_STOP, pin, {});
    } else {
        queue(node, time, gmpi::EVENT_PIN_STREAMING_STOP, pin, {});
    }
}

void Graph::sendMidi(int nodeIndex, int pin, std::vector<uint8_t> bytes, int64_t time) {
    Node& node = *nodes_.at(static_cast<size_t>(nodeIndex));
    const PinInfo* info = node.info.pin(pin);
    if (node.gui || info == nullptr || info->output || info->type != PinType::Midi)
        throw std::runtime_error(node.name + ": pin " + std::to_string(pin) + " is no MIDI input");
    queue(node, time, gmpi::EVENT_MIDI, pin, std::move(bytes));
}

void Graph::decideOrder() {
    const int count = static_cast<int>(nodes_.size());
    std::vector<bool> placed(count, false);
    std::vector<int> waiting(count, 0);  // unplaced DSP sources feeding each node
    for (const auto& c : connections_)
        if (nodes_[c.fromNode]->kind == 0 && nodes_[c.toNode]->kind == 0 && c.fromNode != c.toNode) ++waiting[c.toNode];
    // A connection from a module to itself always closes a loop.
    for (auto& c : connections_)
        if (c.fromNode == c.toNode) c.feedback = true;
    order_.clear();
    for (;;) {
        int pick = -1;
        for (int i = 0; i < count && pick < 0; ++i)
            if (!placed[i] && nodes_[i]->kind == 0 && waiting[i] == 0) pick = i;
        if (pick < 0) {
            // A cycle: the first unplaced module runs next and its inputs from
            // the cycle arrive one block late.
            for (int i = 0; i < count && pick < 0; ++i)
                if (!placed[i] && nodes_[i]->kind == 0) pick = i;
            if (pick < 0) break;
            for (auto& c : connections_) {
                if (c.toNode == pick && c.fromNode != pick && !placed[c.fromNode] && nodes_[c.fromNode]->kind == 0) {
                    c.feedback = true;
                    --waiting[pick];
                }
            }
        }
        placed[pick] = true;
        order_.push_back(pick);
        for (const auto& c : connections_)
            if (c.fromNode == pick && !c.feedback && c.toNode != pick && nodes_[c.toNode]->kind == 0) --waiting[c.toNode];
    }
}

void Graph::prepare() {
    if (prepared_) return;
    decideOrder();
    prepared_ = true;

    const auto size = static_cast<size_t>(options_.blockSize);
    for (size_t c = 0; c < connections_.size(); ++c) {
        const Connection& connection = connections_[c];
        Node& to = *nodes_[connection.toNode];
        const PinInfo* in = to.info.pin(connection.toPin);
        if (to.kind != 0 || in->type != PinType::Audio) continue;
        InputFeed& feed = to.feeds[connection.toPin];
        feed.connections.push_back(static_cast<int>(c));
        feed.streaming.push_back(false);
    }
    for (auto& node : nodes_) {
        if (node->kind != 0) continue;
        for (const auto& pin : node->info.pins) {
            if (pin.type != PinType::Audio) continue;
            const auto feed = node->feeds.find(pin.index);
            if (!pin.output && feed != node->feeds.end() && node->sources.count(pin.index) != 0)
                throw std::runtime_error(node->name + "." + pin.name + " has a connection and a host signal");
            if (!pin.output && feed == node->feeds.end()) sourceFor(*node, pin.index);
            node->buffers[pin.index].assign(size, 0.0f);
        }
    }
    // Audio inputs with one upstream output in the same block read its buffer in place.
    for (auto& node : nodes_) {
        for (auto& [pin, feed] : node->feeds) {
            const Connection& c = connections_[feed.connections.front()];
            feed.shared = feed.connections.size() == 1 && !c.feedback;
            node->bound[pin] = feed.shared ? nodes_[c.fromNode]->buffers[c.fromPin].data() : node->buffers[pin].data();
        }
        for (auto& [pin, buffer] : node->buffers)
            if (node->bound.count(pin) == 0) node->bound[pin] = buffer.data();
    }
    for (auto& node : nodes_) {
        if (node->kind != 0) continue;
        if (node->plugin->setHost(node->host) != MP_OK) throw std::runtime_error("setHost of " + node->name + " failed");
        node->plugin->open();
        node->opened = true;
    }
    // Buffers after every open: a module may make its pins there.
    for (auto& node : nodes_) {
        if (node->kind != 0) continue;
        for (const auto& [pin, pointer] : node->bound) node->plugin->setBuffer(pin, const_cast<float*>(pointer));
    }
    // What GUI modules sent while they were made reaches their connections now.
    for (size_t n = 0; n < nodes_.size(); ++n) {
        if (!nodes_[n]->gui) continue;
        std::map<int, Transmission> last;
        for (const auto& t : nodes_[n]->gui->transmissions()) last[t.pinId] = t;
        for (const auto& [pin, t] : last) onGuiTransmit(static_cast<int>(n), t);
    }
}

void Graph::fillInput(Node& node, int pin, int count) {
    float* out = node.buffers[pin].data();
    if (auto feed = node.feeds.find(pin); feed != node.feeds.end()) {
        if (feed->second.shared) return;
        std::fill(out, out + count, 0.0f);
        for (int c : feed->second.connections) {
            const Connection& connection = connections_[c];
            const float* in = nodes_[connection.fromNode]->buffers[connection.fromPin].data();
            for (int i = 0; i < count; ++i) out[i] += in[i];
        }
        return;
    }
    AudioSource& s = node.sources[pin];
    const auto signalLength = static_cast<int64_t>(s.signal.size());
    for (int i = 0; i < count; ++i) {
        const int64_t t = time_ + i;
        while (s.next < s.changes.size() && s.changes[s.next].time <= t) {
            const LevelChange& change = s.changes[s.next++];
            s.rampFrom = s.current;
            s.rampStart = change.time;
            s.rampLength = change.length;
            s.level = change.level;
            s.current = change.level;
        }
        if (s.rampLength > 0 && t < s.rampStart + s.rampLength) {
            const double fraction = static_cast<double>(t - s.rampStart) / static_cast<double>(s.rampLength);
            s.current = static_cast<float>(s.rampFrom + (s.level - s.rampFrom) * fraction);
        } else {
            s.current = s.level;
        }
        out[i] = t < signalLength ? s.signal[static_cast<size_t>(t)] : s.current;
    }
}

void Graph::processNode(int index, int count) {
    Node& node = *nodes_[index];
    auto& due = node.due;
    due.clear();
    if (!node.started) {
        for (const auto& pin : node.info.pins) {
            if (pin.output) continue;
            if (isValueType(pin.type)) {
                RawValue raw;
                if (auto it = node.initialValues.find(pin.index); it != node.initialValues.end()) raw = it->second;
                else if (pin.defaultRaw) raw = *pin.defaultRaw;
                else raw = zeroValue(pin.type);
                due.push_back({time_, -3, gmpi::EVENT_PIN_SET, pin.index, std::move(raw)});
            } else if (pin.type == PinType::Audio) {
                const auto source = node.sources.find(pin.index);
                const bool streaming = source != node.sources.end() && !source->second.signal.empty();
                due.push_back({time_, -2, streaming ? gmpi::EVENT_PIN_STREAMING_START : gmpi::EVENT_PIN_STREAMING_STOP,
                               pin.index, {}});
            }
        }
        due.push_back({time_, -1, gmpi::EVENT_GRAPH_START, 0, {}});
        node.started = true;
    }
    const int64_t end = time_ + count;
    auto split = std::stable_partition(node.pending.begin(), node.pending.end(),
                                       [end](const Pending& e) { return e.time >= end; });
    for (auto it = split; it != node.pending.end(); ++it) due.push_back(std::move(*it));
    node.pending.erase(split, node.pending.end());
    std::stable_sort(due.begin(), due.end(), [](const Pending& a, const Pending& b) {
        return a.time != b.time ? a.time < b.time : a.order < b.order;
    });

    node.events.assign(due.size(), gmpi::MpEvent{});
    for (size_t i = 0; i < due.size(); ++i) {
        gmpi::MpEvent& e = node.events[i];
        Pending& p = due[i];
        e.timeDelta = static_cast<int32_t>(std::max<int64_t>(p.time - time_, 0));
        e.eventType = p.type;
        e.parm1 = p.pin;
        e.parm2 = static_cast<int32_t>(p.data.size());
        if (p.data.size() <= 8) {
            if (!p.data.empty()) std::memcpy(&e.parm3, p.data.data(), p.data.size());
            e.extraData = nullptr;
        } else {
            e.extraData = reinterpret_cast<char*>(p.data.data());
        }
        e.next = i + 1 < due.size() ? &node.events[i + 1] : nullptr;
    }

    for (const auto& pin : node.info.pins)
        if (pin.type == PinType::Audio && !pin.output) fillInput(node, pin.index, count);

    node.host->blockStart = time_;
    if (!node.sleeping || !due.empty()) {
        node.host->sleepRequested = false;
        node.plugin->process(count, due.empty() ? nullptr : node.events.data());
        ++node.processCalls;
        node.sleeping = node.host->sleepRequested;
    }
    dispatchCalls(index, count);
}

void Graph::dispatchCalls(int index, int /*count*/) {
    Node& node = *nodes_[index];
    for (const RecordedCall& call : node.host->calls) {
        if (call.kind == RecordedCall::Sleep) continue;
        for (size_t c = 0; c < connections_.size(); ++c) {
            const Connection& connection = connections_[c];
            if (connection.fromNode != index || connection.fromPin != call.pinId) continue;
            Node& to = *nodes_[connection.toNode];
            const PinInfo* in = to.info.pin(connection.toPin);
            const int64_t time = connection.feedback ? blockEnd_ : std::max(call.time, time_);
            if (call.kind == RecordedCall::SetPinStreaming) {
                if (in->type != PinType::Audio) continue;
                InputFeed& feed = to.feeds[connection.toPin];
                bool any = false;
                for (size_t k = 0; k < feed.connections.size(); ++k) {
                    if (feed.connections[k] == static_cast<int>(c)) feed.streaming[k] = call.streaming;
                    any = any || feed.streaming[k];
                }
                queue(to, time, any ? gmpi::EVENT_PIN_STREAMING_START : gmpi::EVENT_PIN_STREAMING_STOP,
                      connection.toPin, {});
            } else if (in->type == PinType::Midi) {
                queue(to, time, gmpi::EVENT_MIDI, connection.toPin, call.data);
            } else if (isValueType(in->type)) {
                if (to.gui) setValue(connection.toNode, connection.toPin, call.data);
                else queue(to, time, gmpi::EVENT_PIN_SET, connection.toPin, call.data);
            }
        }
    }
    if (options_.recordCalls)
        node.recorded.insert(node.recorded.end(), node.host->calls.begin(), node.host->calls.end());
    node.host->calls.clear();
}

void Graph::onGuiTransmit(int nodeIndex, const Transmission& t) {
    for (const auto& c : connections_) {
        if (c.fromNode != nodeIndex || c.fromPin != t.pinId) continue;
        Node& to = *nodes_[c.toNode];
        if (to.gui) {
            if (guiDepth_ >= kMaxGuiDepth) continue;
            ++guiDepth_;
            to.gui->setRaw(c.toPin, t.data, t.voice);
            --guiDepth_;
        } else {
            setValue(c.toNode, c.toPin, t.data);
        }
    }
}

void Graph::runBlock(int count) {
    prepare();
    while (count > 0) {
        const int n = std::min(count, options_.blockSize);
        blockEnd_ = time_ + n;
        inBlock_ = true;
        for (int index : order_) {
            nodes_[index]->host->blockIndex = blocks_;
            processNode(index, n);
        }
        inBlock_ = false;
        time_ = blockEnd_;
        ++blocks_;
        count -= n;
    }
}

void Graph::run(int64_t frames, const std::function<void(int64_t, int)>& onBlock) {
    while (frames > 0) {
        const int n = static_cast<int>(std::min<int64_t>(frames, options_.blockSize));
        const int64_t start = time_;
        runBlock(n);
        if (onBlock) onBlock(start, n);
        frames -= n;
    }
}

const float* Graph::buffer(int nodeIndex, int pin) const {
    const Node& node = *nodes_.at(static_cast<size_t>(nodeIndex));
    const auto it = node.bound.find(pin);
    return it == node.bound.end() ? nullptr : it->second;
}

int64_t Graph::processCalls(int node) const { return nodes_.at(static_cast<size_t>(node))->processCalls; }
bool Graph::sleeping(int node) const { return nodes_.at(static_cast<size_t>(node))->sleeping; }
const std::vector<RecordedCall>& Graph::calls(int node) const { return nodes_.at(static_cast<size_t>(node))->recorded; }
GuiModule* Graph::gui(int node) const { return nodes_.at(static_cast<size_t>(node))->gui.get(); }

}  // namespace tamhost
