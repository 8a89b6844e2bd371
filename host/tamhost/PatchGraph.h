// A graph of modules run together the way a modular host runs a patch:
// DSP modules in topological order, one block at a time, audio connections
// sharing buffers, a module's setPin on an output becoming a value (or MIDI)
// event at the same time stamp on every connected input downstream, and its
// setPinStreaming becoming streaming events there. A connection that closes
// a cycle is a feedback connection and delivers one block late. GUI modules
// (kinds 1 and 2) take values by setPin + notifyPin; their transmissions go
// to connected GUI inputs at once and to DSP inputs at the next block start.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tamhost/Catalogue.h"
#include "tamhost/DspHost.h"
#include "tamhost/Values.h"

namespace tamhost {

class Pack;
class GuiModule;
struct Transmission;

struct GraphOptions {
    float sampleRate = 44100.0f;
    int blockSize = 64;
    std::string baseFolder = {};  // relative file names of modules resolve here
    bool recordCalls = false;  // keep every DSP module's setPin/streaming/sleep calls
};

struct Connection {
    int fromNode = -1;
    int fromPin = -1;
    int toNode = -1;
    int toPin = -1;
    bool feedback = false;  // decided by prepare(): delivered one block late
};

class Graph {
public:
    explicit Graph(GraphOptions options = {});
    Graph(Pack& pack, const Catalogue& catalogue, GraphOptions options = {});
    ~Graph();
    Graph(const Graph&) = delete;
    Graph& operator=(const Graph&) = delete;

    const GraphOptions& options() const { return options_; }
    HostContext& context() { return *context_; }

    // ---- building (before prepare) --------------------------------------
    // Creates a module by identifier and kind; throws std::runtime_error when
    // the name is taken, the catalogue has no entry or the pack makes none.
    int addModule(const std::string& name, const std::string& id, int kind = 0);
    // A DSP module made elsewhere (e.g. compiled into a test); the graph
    // takes over its one reference. info gives its pins.
    int addInstance(const std::string& name, gmpi::IMpUnknown* instance, ModuleInfo info);
    // A GUI module made through any factory (a test's own registry); info
    // names it, its kind and its pins.
    int addGuiModule(const std::string& name, gmpi::IMpFactory2* factory, ModuleInfo info);
    int findNode(const std::string& name) const;  // -1 when absent
    size_t nodeCount() const { return nodes_.size(); }
    const std::string& nodeName(int node) const;
    const ModuleInfo& info(int node) const;
    // A pin by catalogue name or by decimal index; -1 when there is none.
    int findPin(int node, const std::string& pin) const;
    // Throws std::runtime_error on a wrong direction, a type mismatch, a
    // connection between a GUI and an audio or MIDI pin, or a second
    // connection into a value input.
    void connect(int fromNode, int fromPin, int toNode, int toPin);
    const std::vector<Connection>& connections() const { return connections_; }

    // ---- inputs (times in samples from the start) ------------------------
    // A value for an input pin: sent in the first group when time <= 0 and
    // nothing has run yet, else at the given time (at the next block when
    // time is in the past). GUI inputs get setPin + notifyPin at once.
    void setValue(int node, int pin, const RawValue& raw, int64_t time = -1);
    // An unconnected audio input: a whole signal from sample 0, zero after
    // its end. It streams from the start and stops at its end.
    void setAudioSignal(int node, int pin, std::vector<float> signal);
    // An unconnected audio input: a constant level from time on (a streaming
    // stop at that time tells the module the new level), or a straight ramp
    // to it over rampLength samples (streaming during the ramp).
    void setAudioLevel(int node, int pin, float level, int64_t time = 0, int64_t rampLength = 0);
    void sendMidi(int node, int pin, std::vector<uint8_t> bytes, int64_t time);

    // ---- running -----------------------------------------------------------
    // Orders the DSP modules, opens them and lays out buffers. run() and
    // runBlock() call it when needed.
    void prepare();
    void runBlock(int count);
    // Renders frames in blocks of the options' size; after each block
    // onBlock(start, count) may read buffer().
    void run(int64_t frames, const std::function<void(int64_t, int)>& onBlock = {});

    // ---- results -------------------------------------------------------------
    // The samples of an audio pin in the block just run.
    const float* buffer(int node, int pin) const;
    int64_t time() const { return time_; }
    const std::vector<int>& order() const { return order_; }  // DSP nodes as run
    int64_t processCalls(int node) const;
    bool sleeping(int node) const;
    const std::vector<RecordedCall>& calls(int node) const;  // with recordCalls
    GuiModule* gui(int node) const;

private:
    struct Pending {
        int64_t time;
        int64_t order;
        int32_t type;
        int32_t pin;
        RawValue data;
    };
    struct LevelChange {
        int64_t time;
        int64_t length;
        float level;
    };
    struct AudioSource {
        std::vector<float> signal;  // from sample 0, empty: levels only
        std::vector<LevelChange> changes;
        size_t next = 0;            // first change not started yet
        float level = 0.0f;         // level the latest change goes to
        float current = 0.0f;       // level at the last sample filled
        float rampFrom = 0.0f;
        int64_t rampStart = 0;
        int64_t rampLength = 0;
    };
    struct InputFeed {
        std::vector<int> connections;  // indices into connections_
        std::vector<bool> streaming;   // per connection
        bool shared = false;           // reads the one upstream buffer in place
    };
    struct Node;

    void requireBuilding(const char* what) const;
    void queue(Node& node, int64_t time, int32_t type, int32_t pin, RawValue data);
    void decideOrder();
    void fillInput(Node& node, int pin, int count);
    void processNode(int index, int count);
    void dispatchCalls(int index, int count);
    AudioSource& sourceFor(Node& node, int pin);
    void onGuiTransmit(int node, const Transmission& t);

    Pack& pack_;
    const Catalogue& catalogue_;
    GraphOptions options_;
    std::unique_ptr<HostContext> context_;
    std::vector<std::unique_ptr<Node>> nodes_;
    std::vector<Connection> connections_;
    std::vector<int> order_;
    bool prepared_ = false;
    int64_t time_ = 0;
    int64_t blockEnd_ = 0;
    int64_t blocks_ = 0;
    int64_t order_counter_ = 0;
    bool inBlock_ = false;
    int guiDepth_ = 0;
};

}  // namespace tamhost
