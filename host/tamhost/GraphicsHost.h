// The graphics side of the reference host: the object a graphic module
// talks to (pins, repaints, capture, resources, text entry), and
// GraphicModule, which creates a graphic module, drives its pins, lays it
// out, renders it through the cairo context, feeds it pointer events (also
// from a small script) and opens its context menu.
//
//   tamhost::GraphicModule m("TamVectorRectangle1");
//   m.setString(1, L"0xFFFF0000");
//   tamhost::Image picture = m.render(64, 32);
//   uint32_t centre = picture.pixel(32, 16);
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "frame/mp_sdk_gui2.h"
#include "tamhost/CairoDrawing.h"
#include "tamhost/Catalogue.h"
#include "tamhost/GuiHost.h"

namespace tamhost {

class Pack;

// A text box the module asked for; a test completes it by hand.
class TextEditStub : public gmpi_gui::IMpPlatformText {
public:
    TextEditStub() = default;
    virtual ~TextEditStub() = default;
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override;
    int32_t addRef() override { return ++refCount_; }
    int32_t release() override;
    int32_t SetText(const char* utf8) override;
    int32_t GetText(gmpi::IString* returnText) override;
    int32_t SetAlignment(int32_t alignment) override;
    int32_t SetTextSize(float height) override;
    int32_t ShowAsync(gmpi_gui::ICompletionCallback* callback) override;

    // Types the text and ends the edit with a result (0 accepted, -1
    // cancelled); false when nothing is pending.
    bool complete(const std::string& utf8, int32_t result = 0);

    GmpiDrawing::Rect rect;
    std::string text;
    int32_t alignment = 0;
    float textSize = 0.0f;
    bool shown = false;

private:
    gmpi_gui::ICompletionCallback* pending_ = nullptr;
    int32_t refCount_ = 1;
};

struct MenuItem {
    std::string text;
    int32_t id = 0;
    int32_t flags = 0;
};

// Collects the entries a module adds to a context menu.
class ContextMenuSink : public gmpi::IMpContextItemSink {
public:
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override;
    int32_t addRef() override { return 1; }
    int32_t release() override { return 1; }
    int32_t AddItem(const char* text, int32_t id, int32_t flags) override;

    std::vector<MenuItem> items;
};

// The host object of one graphic module: GUI host, graphics host, resource
// host and text-edit host in one.
class GraphicsHostObject : public UiHost,
                           public gmpi_gui::IMpGraphicsHost,
                           public gmpi::IMpResourceHost,
                           public gmpi_gui::IMpPlatformTextHost {
public:
    GraphicsHostObject();
    ~GraphicsHostObject() override;

    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override;
    int32_t addRef() override { return ++refCount_; }
    int32_t release() override;

    // Graphics host.
    void GetDrawingFactory(GmpiDrawing_API::IMpFactory** returnFactory) override;
    void unusedGraphicsSlot() override {}
    void invalidateRect(const GmpiDrawing_API::MP1_RECT* invalidRect) override;
    void invalidateMeasure(const GmpiDrawing_API::MP1_SIZE* size) override;
    int32_t setCapture() override;
    int32_t getCapture(int32_t& returnValue) override;
    int32_t releaseCapture() override;

    // Resources: a name in resources (per class, else any class) gives
    // its path; otherwise relative names join baseFolder. Paths read from
    // files, unless given in memory.
    int32_t FindResourceU(const char* name, const char* resourceClass, gmpi::IString* returnFullPath) override;
    int32_t ReadResourceU(const char* fullPath, gmpi::IString* returnContents) override;

    int32_t createPlatformTextEdit(const GmpiDrawing_API::MP1_RECT* rect, gmpi::IMpUnknown** returnTextEdit) override;

    // The process's shared factory, so that caches see one factory.
    CairoFactory* factory() const { return factory_; }

    int invalidateRectCalls = 0;
    int invalidateMeasureCalls = 0;
    int setCaptureCalls = 0;
    int releaseCaptureCalls = 0;
    bool captured = false;
    // (class, name) -> path; class "" matches any.
    std::map<std::pair<std::string, std::string>, std::string> resources;
    std::map<std::string, std::string> files;  // path -> bytes, before the file system
    std::vector<std::pair<std::string, std::string>> lookups;  // (class, name) asked
    std::vector<TextEditStub*> textEdits;                      // one reference each
    static int resourceReads;  // by every host object of the process

private:
    CairoFactory* factory_ = nullptr;
    int32_t refCount_ = 1;
};

struct GraphicOptions {
    bool sendDefaults = true;  // every catalogue input's default after initialize
    DrawOptions draw;
    std::string baseFolder;
    std::optional<int> pinCount;
};

// A pointer script: one event per line, "down x y [keys]", "move x y
// [keys]", "up x y [keys]"; keys among shift, ctrl, alt, right (second
// button instead of the first). Blank lines and lines from "#" are skipped.
struct PointerEvent {
    enum Kind { Down, Move, Up } kind = Down;
    float x = 0.0f;
    float y = 0.0f;
    int32_t flags = 0;
};
// Throws std::invalid_argument naming the line for text that does not parse.
std::vector<PointerEvent> parsePointerScript(const std::string& text);

class GraphicModule {
public:
    explicit GraphicModule(const std::string& id, GraphicOptions options = {});
    GraphicModule(gmpi::IMpFactory2* factory, ModuleInfo info, GraphicOptions options = {});
    ~GraphicModule();
    GraphicModule(const GraphicModule&) = delete;
    GraphicModule& operator=(const GraphicModule&) = delete;

    const ModuleInfo& info() const { return info_; }
    GraphicsHostObject& host() { return *host_; }
    gmpi_gui_api::IMpGraphics2* graphics() const { return graphics_; }
    gmpi::IMpUserInterface2B* ui() const { return ui_; }

    // setPin then notifyPin.
    int32_t setRaw(int pin, const RawValue& raw, int voice = 0);
    int32_t setFloat(int pin, float value) { return setRaw(pin, rawFloat(value)); }
    int32_t setInt(int pin, int32_t value) { return setRaw(pin, rawInt(value)); }
    int32_t setBool(int pin, bool value) { return setRaw(pin, rawBool(value)); }
    int32_t setString(int pin, const std::wstring& value) { return setRaw(pin, rawString(value)); }
    // By the pin's catalogue type, from command-line text.
    int32_t setText(int pin, const std::string& text);

    GmpiDrawing::Size measure(GmpiDrawing::Size available);
    int32_t arrange(GmpiDrawing::Rect rect);
    // Measures with the size offered, arranges at (0, 0) with the size
    // wanted (or the offered size when fit is false), and renders on a
    // transparent picture of that size.
    Image render(int width, int height, bool fit = false, std::vector<DrawOp>* log = nullptr);
    // Renders onto an existing picture with the module at its arranged place.
    int32_t renderOnto(Image& picture, std::vector<DrawOp>* log = nullptr, uint32_t background = 0);

    int32_t pointer(const PointerEvent& event);
    int32_t pointerDown(float x, float y, int32_t flags = gmpi_gui_api::GG_POINTER_FLAG_FIRSTBUTTON);
    int32_t pointerMove(float x, float y, int32_t flags = gmpi_gui_api::GG_POINTER_FLAG_FIRSTBUTTON);
    int32_t pointerUp(float x, float y, int32_t flags = gmpi_gui_api::GG_POINTER_FLAG_FIRSTBUTTON);
    void runPointerScript(const std::vector<PointerEvent>& events);

    // The module's menu at a point; nullopt when it offers none.
    std::optional<std::vector<MenuItem>> contextMenu(float x, float y);
    int32_t chooseMenuItem(int32_t selection);

    const std::vector<Transmission>& transmissions() const { return host_->transmissions; }
    std::optional<Transmission> lastTransmission(int pin) const;

private:
    void create(gmpi::IMpFactory2* factory, const GraphicOptions& options);

    ModuleInfo info_;
    DrawOptions draw_;
    GraphicsHostObject* host_ = nullptr;
    gmpi::IMpUserInterface2B* ui_ = nullptr;
    gmpi_gui_api::IMpGraphics2* graphics_ = nullptr;
    GmpiDrawing::Rect arranged_;
};

}  // namespace tamhost
