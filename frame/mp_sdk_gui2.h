// Graphic modules: GUI modules that also draw and take the pointer.
// MpGuiGfxBase adds to MpGuiBase2 the graphics face the host calls (measure,
// arrange, render, pointer) and keeps the graphics host the module calls
// (repaints, capture). Also here: the returned-string and completion
// objects, and the wrappers over the graphics host and its text-entry
// object.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "frame/Drawing.h"
#include "frame/GmpiDrawing_API.h"
#include "frame/mp_sdk_gui.h"

// Identifiers of our own for the host's optional objects.
inline constexpr gmpi::MpGuid TAM_IID_PLATFORM_TEXT_HOST = {0x5D0B27A4, 0x9C3E, 0x4F0A, {0xA1, 0x6E, 0x3B, 0x72, 0x08, 0xD5, 0x4C, 0x11}};
inline constexpr gmpi::MpGuid TAM_IID_PLATFORM_TEXT = {0x5D0B27A4, 0x9C3E, 0x4F0A, {0xA1, 0x6E, 0x3B, 0x72, 0x08, 0xD5, 0x4C, 0x12}};
inline constexpr gmpi::MpGuid TAM_IID_RESOURCE_HOST = {0x5D0B27A4, 0x9C3E, 0x4F0A, {0xA1, 0x6E, 0x3B, 0x72, 0x08, 0xD5, 0x4C, 0x13}};

namespace gmpi {

// A text (or byte string) the callee fills for the caller.
class IString : public IMpUnknown {
public:
    virtual int32_t setData(const char* data, int32_t size) = 0;
    virtual int32_t getSize() = 0;
    virtual const char* getData() = 0;
};

// A context menu under construction: the module adds its entries.
class IMpContextItemSink : public IMpUnknown {
public:
    virtual int32_t AddItem(const char* text, int32_t id, int32_t flags) = 0;
};

// The GUI host's resource lookup, reached from the GUI-side host by
// queryInterface(TAM_IID_RESOURCE_HOST). A name and a class ("Image",
// "ImageMeta", ...) become a full path; a path opens as its bytes.
class IMpResourceHost : public IMpUnknown {
public:
    virtual int32_t FindResourceU(const char* resourceName, const char* resourceClass, IString* returnFullPath) = 0;
    virtual int32_t ReadResourceU(const char* fullPath, IString* returnContents) = 0;
};

}  // namespace gmpi

namespace gmpi_sdk {

// Lives on the caller's stack: counting does nothing, release never deletes.
class MpString : public gmpi::IString {
public:
    int32_t setData(const char* data, int32_t size) override {
        if (size > 0 && data != nullptr) {
            cppString.assign(data, static_cast<size_t>(size));
        } else {
            cppString.clear();
        }
        return MP_OK;
    }
    int32_t getSize() override { return static_cast<int32_t>(cppString.size()); }
    const char* getData() override { return cppString.data(); }
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override {
        if (iid == MP_IID_UNKNOWN || iid == MP_IID_RETURNSTRING) {
            *object = static_cast<gmpi::IString*>(this);
            return MP_OK;
        }
        *object = nullptr;
        return MP_NOSUPPORT;
    }
    int32_t addRef() override { return 1; }
    int32_t release() override { return 1; }

    const std::string& str() const { return cppString; }

    std::string cppString;
};

}  // namespace gmpi_sdk

namespace gmpi_gui {

class IMpGraphicsHost : public gmpi::IMpUnknown {
public:
    virtual void GetDrawingFactory(GmpiDrawing_API::IMpFactory** returnFactory) = 0;
    virtual void unusedGraphicsSlot() = 0;
    // Null: the whole module.
    virtual void invalidateRect(const GmpiDrawing_API::MP1_RECT* invalidRect) = 0;
    virtual void invalidateMeasure(const GmpiDrawing_API::MP1_SIZE* size) = 0;
    virtual int32_t setCapture() = 0;
    virtual int32_t getCapture(int32_t& returnValue) = 0;
    virtual int32_t releaseCapture() = 0;
};

class ICompletionCallback : public gmpi::IMpUnknown {
public:
    virtual void OnComplete(int32_t result) = 0;
};

// Made with one reference; the last release deletes it.
class MpCompletionHandler : public ICompletionCallback {
public:
    explicit MpCompletionHandler(std::function<void(int32_t)> callback) : callback_(std::move(callback)) {}
    virtual ~MpCompletionHandler() = default;

    void OnComplete(int32_t result) override {
        if (callback_) callback_(result);
    }
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override {
        if (iid == MP_IID_UNKNOWN || iid == SE_IID_COMPLETION_CALLBACK) {
            *object = static_cast<ICompletionCallback*>(this);
            addRef();
            return MP_OK;
        }
        *object = nullptr;
        return MP_NOSUPPORT;
    }
    int32_t addRef() override { return ++refCount_; }
    int32_t release() override {
        if (--refCount_ == 0) {
            delete this;
            return 0;
        }
        return refCount_;
    }

private:
    std::function<void(int32_t)> callback_;
    int32_t refCount_ = 1;
};

// The platform's text-entry box over a part of the module.
class IMpPlatformText : public gmpi::IMpUnknown {
public:
    virtual int32_t SetText(const char* utf8) = 0;
    virtual int32_t GetText(gmpi::IString* returnText) = 0;
    virtual int32_t SetAlignment(int32_t textAlignment) = 0;
    virtual int32_t SetTextSize(float height) = 0;
    // Shows the box; the callback hears 0 (accepted) or -1 (cancelled) later.
    virtual int32_t ShowAsync(ICompletionCallback* returnCompletionHandler) = 0;
};

// Reached from the graphics host by queryInterface(TAM_IID_PLATFORM_TEXT_HOST).
class IMpPlatformTextHost : public gmpi::IMpUnknown {
public:
    virtual int32_t createPlatformTextEdit(const GmpiDrawing_API::MP1_RECT* rect,
                                           gmpi::IMpUnknown** returnTextEdit) = 0;
};

}  // namespace gmpi_gui

namespace gmpi_gui_api {

class IMpGraphics : public gmpi::IMpUnknown {
public:
    virtual int32_t measure(GmpiDrawing_API::MP1_SIZE availableSize, GmpiDrawing_API::MP1_SIZE* returnDesiredSize) = 0;
    virtual int32_t arrange(GmpiDrawing_API::MP1_RECT finalRect) = 0;
    virtual int32_t OnRender(GmpiDrawing_API::IMpDeviceContext* drawingContext) = 0;
    virtual int32_t onPointerDown(int32_t flags, GmpiDrawing_API::MP1_POINT point) = 0;
    virtual int32_t onPointerMove(int32_t flags, GmpiDrawing_API::MP1_POINT point) = 0;
    virtual int32_t onPointerUp(int32_t flags, GmpiDrawing_API::MP1_POINT point) = 0;
};

class IMpGraphics2 : public IMpGraphics {
public:
    virtual int32_t hitTest(GmpiDrawing_API::MP1_POINT point) = 0;
    virtual int32_t getToolTip(GmpiDrawing_API::MP1_POINT point, gmpi::IString* returnString) = 0;
};

// Pointer flags.
inline constexpr int32_t GG_POINTER_FLAG_NEW = 0x01;
inline constexpr int32_t GG_POINTER_FLAG_INCONTACT = 0x04;
inline constexpr int32_t GG_POINTER_FLAG_FIRSTBUTTON = 0x10;
inline constexpr int32_t GG_POINTER_FLAG_SECONDBUTTON = 0x20;
inline constexpr int32_t GG_POINTER_FLAG_THIRDBUTTON = 0x40;
inline constexpr int32_t GG_POINTER_KEY_SHIFT = 0x10000;
inline constexpr int32_t GG_POINTER_KEY_CONTROL = 0x20000;
inline constexpr int32_t GG_POINTER_KEY_ALT = 0x40000;

}  // namespace gmpi_gui_api

namespace GmpiGui {

// The platform text box; holds its host object and the pending callback.
class TextEdit : public GmpiDrawing::Resource<gmpi_gui::IMpPlatformText> {
public:
    using Resource::Resource;
    TextEdit(const TextEdit&) = default;
    TextEdit& operator=(const TextEdit&) = default;
    TextEdit(TextEdit&&) = default;
    TextEdit& operator=(TextEdit&&) = default;
    ~TextEdit() { setHandler(nullptr); }

    void SetText(const std::string& utf8) {
        if (object_ != nullptr) object_->SetText(utf8.c_str());
    }
    std::string GetText() {
        gmpi_sdk::MpString text;
        if (object_ != nullptr) object_->GetText(&text);
        return text.cppString;
    }
    void SetAlignment(GmpiDrawing_API::MP1_TEXT_ALIGNMENT alignment) {
        if (object_ != nullptr) object_->SetAlignment(alignment);
    }
    void SetTextSize(float height) {
        if (object_ != nullptr) object_->SetTextSize(height);
    }
    // The function hears the result later, with the text in the object.
    void ShowAsync(std::function<void(int32_t)> callback);

private:
    void setHandler(gmpi_gui::MpCompletionHandler* handler) {
        if (handler_ != nullptr) handler_->release();
        handler_ = handler;
    }
    gmpi_gui::MpCompletionHandler* handler_ = nullptr;
};

class GraphicsHost {
public:
    GraphicsHost() = default;
    explicit GraphicsHost(gmpi_gui::IMpGraphicsHost* host) : host_(host) {}

    gmpi_gui::IMpGraphicsHost* Get() const { return host_; }
    bool isNull() const { return host_ == nullptr; }

    GmpiDrawing::Factory GetDrawingFactory() const {
        GmpiDrawing::Factory factory;
        if (host_ != nullptr) host_->GetDrawingFactory(factory.GetAddressOf());
        return factory;
    }
    void invalidateRect(const GmpiDrawing_API::MP1_RECT* rect = nullptr) {
        if (host_ != nullptr) host_->invalidateRect(rect);
    }
    void invalidateMeasure() {
        if (host_ != nullptr) host_->invalidateMeasure(nullptr);
    }
    void setCapture() {
        if (host_ != nullptr) host_->setCapture();
    }
    bool getCapture() const {
        int32_t captured = 0;
        if (host_ != nullptr) host_->getCapture(captured);
        return captured != 0;
    }
    void releaseCapture() {
        if (host_ != nullptr) host_->releaseCapture();
    }
    // An empty TextEdit when the host offers none.
    TextEdit createPlatformTextEdit(GmpiDrawing::Rect rect);

private:
    gmpi_gui::IMpGraphicsHost* host_ = nullptr;  // not owned
};

}  // namespace GmpiGui

namespace gmpi_gui {

class MpGuiGfxBase : public MpGuiBase2, public gmpi_gui_api::IMpGraphics2 {
public:
    MpGuiGfxBase() = default;
    ~MpGuiGfxBase() override;

    // IMpUnknown is reached through both faces; one count serves them.
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override;
    int32_t addRef() override { return ++refCount_; }
    int32_t release() override;

    int32_t setHost(gmpi::IMpUnknown* host) override;

    int32_t measure(GmpiDrawing_API::MP1_SIZE availableSize, GmpiDrawing_API::MP1_SIZE* returnDesiredSize) override;
    int32_t arrange(GmpiDrawing_API::MP1_RECT finalRect) override;
    int32_t OnRender(GmpiDrawing_API::IMpDeviceContext*) override { return MP_OK; }
    int32_t onPointerDown(int32_t, GmpiDrawing_API::MP1_POINT point) override { return hitTest(point); }
    int32_t onPointerMove(int32_t, GmpiDrawing_API::MP1_POINT point) override { return hitTest(point); }
    int32_t onPointerUp(int32_t, GmpiDrawing_API::MP1_POINT point) override { return hitTest(point); }
    int32_t hitTest(GmpiDrawing_API::MP1_POINT) override { return MP_OK; }
    int32_t getToolTip(GmpiDrawing_API::MP1_POINT, gmpi::IString*) override { return -1; }
    // The older face's tool tip keeps its base answer.
    using MpGuiBase2::getToolTip;

    GmpiGui::GraphicsHost getGuiHost() const { return GmpiGui::GraphicsHost(graphicsHost); }
    void invalidateRect(const GmpiDrawing_API::MP1_RECT* rect = nullptr) {
        if (graphicsHost != nullptr) graphicsHost->invalidateRect(rect);
    }
    void invalidateMeasure() {
        if (graphicsHost != nullptr) graphicsHost->invalidateMeasure(nullptr);
    }
    GmpiDrawing::Rect getRect() const { return GmpiDrawing::Rect(rect); }

    IMpGraphicsHost* graphicsHost = nullptr;
    GmpiDrawing_API::MP1_RECT rect{0.0f, 0.0f, 0.0f, 0.0f};

private:
    int32_t refCount_ = 1;
};

}  // namespace gmpi_gui
