// Small GUI modules built on the GUI frame, one per generation, that log
// their callbacks and answer them through output pins. They are made by a
// registry of the test's own and driven through the reference host.
#pragma once

#include <string>
#include <vector>

#include "frame/mp_sdk_gui.h"
#include "tamhost/Catalogue.h"

namespace probe {

enum GuiPin {
    kFloatIn = 0,
    kIntIn = 1,
    kBoolIn = 2,
    kTextIn = 3,
    kBlobIn = 4,
    kPolyIn = 5,
    kPolyBlobIn = 6,
    kColourIn = 7,
    kPlainIn = 8,
    kFloatOut = 9,
    kTextOut = 10,
    kPolyOut = 11,
    kPinCount = 12,
};

// Live objects, to see that releases reach the destructor.
inline int liveProbes = 0;

class ProbeGui : public MpGuiBase {
public:
    ProbeGui() {
        ++liveProbes;
        initializePin(kFloatIn, floatIn, &ProbeGui::onFloat);
        initializePin(kIntIn, intIn, &ProbeGui::onInt);
        initializePin(kBoolIn, boolIn, &ProbeGui::onBool);
        initializePin(kTextIn, textIn, &ProbeGui::onText);
        initializePin(kBlobIn, blobIn, &ProbeGui::onBlob);
        initializePin(kPolyIn, polyIn, &ProbeGui::onPoly);
        initializePin(kPolyBlobIn, polyBlobIn, &ProbeGui::onPolyBlob);
        initializePin(kColourIn, colourIn, &ProbeGui::onColour);
        initializePin(kPlainIn, plainIn);
        initializePin(kFloatOut, floatOut);
        initializePin(kTextOut, textOut);
        initializePin(kPolyOut, polyOut);
    }
    ~ProbeGui() override { --liveProbes; }

    int32_t initialize() override {
        pinCountSeen = getPinCount();
        resolvedName = resolveFileName(L"take.wav");
        return MpGuiBase::initialize();
    }

    void onFloat() {
        log.push_back("float");
        floatOut = floatIn * 2.0f;
    }
    void onInt() { log.push_back("int " + std::to_string(intIn.getValue())); }
    void onBool() { log.push_back(std::string("bool ") + (boolIn ? "true" : "false")); }
    void onText() {
        log.push_back("text");
        textOut = std::string(textIn) + "!";  // through UTF-8 and back
    }
    void onBlob() { log.push_back("blob " + std::to_string(blobIn.getValue().getSize())); }
    void onPoly(int voice) {
        log.push_back("poly " + std::to_string(voice));
        polyOut.setValue(voice, polyIn[voice] + 1.0f);
    }
    void onPolyBlob(int voice) { log.push_back("polyblob " + std::to_string(voice)); }
    void onColour() { log.push_back("colour"); }

    MpGuiPin<float> floatIn;
    MpGuiPin<int> intIn;
    MpGuiPin<bool> boolIn;
    StringGuiPin textIn;
    MpGuiPin<MpBlob> blobIn;
    MpGuiArrayPin<float, 128> polyIn;
    MpGuiArrayPin<MpBlob, 128> polyBlobIn;
    ColorGuiPin colourIn;
    MpGuiPin<float> plainIn;
    MpGuiPin<float> floatOut;
    StringGuiPin textOut;
    MpGuiArrayPin<float, 128> polyOut;

    std::vector<std::string> log;
    int32_t pinCountSeen = -1;
    std::wstring resolvedName;
};

// Second generation: counting is the module's own; one pin is wired with a
// null handler.
class ProbeGui2 : public MpGuiBase2 {
public:
    ProbeGui2() {
        ++liveProbes;
        initializePin(0, floatIn, &ProbeGui2::onFloat);
        initializePin(1, polyIn, &ProbeGui2::onPoly);
        initializePin(2, quietIn, static_cast<void (ProbeGui2::*)()>(nullptr));
        initializePin(3, floatOut);
    }
    ~ProbeGui2() override { --liveProbes; }

    int32_t addRef() override { return ++refCount; }
    int32_t release() override {
        if (--refCount == 0) {
            delete this;
            return 0;
        }
        return refCount;
    }
    int32_t initialize() override {
        pinCountSeen = getPinCount();
        return MpGuiBase2::initialize();
    }

    void onFloat() {
        log.push_back("float");
        floatOut = floatIn + 1.0f;
    }
    void onPoly(int voice) { log.push_back("poly " + std::to_string(voice)); }

    MpGuiPin<float> floatIn;
    MpGuiArrayPin<float, 128> polyIn;
    MpGuiPin<float> quietIn;
    MpGuiPin<float> floatOut;

    int32_t refCount = 1;
    std::vector<std::string> log;
    int32_t pinCountSeen = -1;
};

inline gmpi::IMpUnknown* createProbeGui() { return static_cast<gmpi::IMpUserInterface*>(new ProbeGui()); }
inline gmpi::IMpUnknown* createProbeGui2() { return static_cast<gmpi::IMpUserInterface2B*>(new ProbeGui2()); }

// The host's description of the probes.
inline const char* kProbeCatalogue = R"json({"family":"TEST_GUI","modules":[
 {"id":"TestProbeGui","kind":1,"class":"ProbeGui","pins":[
  {"index":0,"name":"Float In","type":"float","direction":"in","default":1.5},
  {"index":1,"name":"Int In","type":"int","direction":"in","default":7},
  {"index":2,"name":"Bool In","type":"bool","direction":"in","default":true},
  {"index":3,"name":"Text In","type":"string","direction":"in","default":"hi"},
  {"index":4,"name":"Blob In","type":"blob","direction":"in"},
  {"index":5,"name":"Poly In","type":"float","direction":"in"},
  {"index":6,"name":"Poly Blob In","type":"blob","direction":"in"},
  {"index":7,"name":"Colour In","type":"string","direction":"in","default":"RGB(1,2,3)"},
  {"index":8,"name":"Plain In","type":"float","direction":"in"},
  {"index":9,"name":"Float Out","type":"float","direction":"out"},
  {"index":10,"name":"Text Out","type":"string","direction":"out"},
  {"index":11,"name":"Poly Out","type":"float","direction":"out"}]},
 {"id":"TestProbeGui2","kind":2,"class":"ProbeGui2","pins":[
  {"index":0,"name":"Float In","type":"float","direction":"in"},
  {"index":1,"name":"Poly In","type":"float","direction":"in"},
  {"index":2,"name":"Quiet In","type":"float","direction":"in"},
  {"index":3,"name":"Float Out","type":"float","direction":"out"}]}]})json";

}  // namespace probe
