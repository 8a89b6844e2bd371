// Skin bitmap background control.
#include "controls/SemImageBackgroundXP.h"

#include <cstdlib>

namespace tam_menu {

int32_t populate(const std::wstring& items, gmpi::IMpUnknown* sink) {
    if (sink == nullptr) return MP_FAIL;
    void* object = nullptr;
    if (sink->queryInterface(MP_IID_CONTEXT_ITEMS_SINK, &object) != MP_OK || object == nullptr) return MP_FAIL;
    auto* menu = static_cast<gmpi::IMpContextItemSink*>(object);
    const std::string text = WStringToUtf8(items);
    int32_t value = 0;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find(',', start);
        if (end == std::string::npos) end = text.size();
        std::string entry = text.substr(start, end - start);
        const size_t equals = entry.find('=');
        if (equals != std::string::npos) {
            value = static_cast<int32_t>(std::strtol(entry.c_str() + equals + 1, nullptr, 10));
            entry.resize(equals);
        }
        if (!entry.empty()) menu->AddItem(entry.c_str(), value, 0);
        ++value;
        start = end + 1;
    }
    menu->release();
    return MP_OK;
}

void choose(MpGuiPin<int>& pin, int32_t selection) {
    pin = selection;
    if (selection != -1) pin = -1;
}

}  // namespace tam_menu

SemImageBackgroundXP::SemImageBackgroundXP() {
    initializePin(0, pinFilename, &SemImageBackgroundXP::onImageChanged);
    initializePin(1, pinVisible, &SemImageBackgroundXP::onInvalidate);
    initializePin(2, pinOpacity, &SemImageBackgroundXP::onInvalidate);
    initializePin(3, pinMouseDown);
    initializePin(4, pinMenuItems);
    initializePin(5, pinMenuSelection);
}

void SemImageBackgroundXP::onImageChanged() {
    const std::string name = WStringToUtf8(pinFilename.value);
    bitmap_ = GetImage(name.c_str(), nullptr);
    invalidateMeasure();
}

void SemImageBackgroundXP::onInvalidate() { invalidateRect(nullptr); }

int32_t SemImageBackgroundXP::measure(GmpiDrawing_API::MP1_SIZE, GmpiDrawing_API::MP1_SIZE* returnDesiredSize) {
    if (returnDesiredSize == nullptr) return MP_FAIL;
    if (bitmap_.isNull()) {
        *returnDesiredSize = {30.0f, 30.0f};
    } else {
        *returnDesiredSize = bitmap_.GetSizeF();
    }
    return MP_OK;
}

int32_t SemImageBackgroundXP::OnRender(GmpiDrawing_API::IMpDeviceContext* drawingContext) {
    if (!pinVisible.value || drawingContext == nullptr) return MP_OK;
    const GmpiDrawing::Rect area = getRect();
    if (area.getWidth() < 1.0f || area.getHeight() < 1.0f) return MP_OK;
    void* object = nullptr;
    if (drawingContext->queryInterface(SE_IID_DEVICECONTEXT_MPGUI, &object) != MP_OK || object == nullptr) {
        return MP_OK;
    }
    auto* context = static_cast<GmpiDrawing_API::IMpDeviceContext*>(object);
    GmpiDrawing::Graphics g(context);
    if (bitmap_.isNull()) {
        const float width = area.getWidth();
        const float height = area.getHeight();
        auto brush = g.CreateSolidColorBrush(GmpiDrawing::Color::Black);
        g.DrawLine(GmpiDrawing::Point(0.0f, 0.0f), GmpiDrawing::Point(width, height), brush);
        g.DrawLine(GmpiDrawing::Point(width, 0.0f), GmpiDrawing::Point(0.0f, height), brush);
    } else {
        const GmpiDrawing::Size size = bitmap_.GetSizeF();
        float opacity = pinOpacity.value * 0.1f;
        if (!(opacity <= 1.0f)) opacity = 1.0f;  // NaN draws opaque
        const GmpiDrawing::Rect whole(0.0f, 0.0f, size.width, size.height);
        g.DrawBitmap(bitmap_, whole, whole, opacity);
    }
    context->release();
    return MP_OK;
}

int32_t SemImageBackgroundXP::onPointerDown(int32_t flags, GmpiDrawing_API::MP1_POINT point) {
    if ((flags & gmpi_gui_api::GG_POINTER_FLAG_FIRSTBUTTON) == 0 || !pinVisible.value) return MP_OK;
    getGuiHost().setCapture();
    const GmpiDrawing::Rect local(0.0f, 0.0f, rect.right - rect.left, rect.bottom - rect.top);
    if (local.ContainsPoint(point) && !pinMouseDown.value) pinMouseDown = true;
    return MP_OK;
}

int32_t SemImageBackgroundXP::onPointerMove(int32_t, GmpiDrawing_API::MP1_POINT) { return MP_OK; }

int32_t SemImageBackgroundXP::onPointerUp(int32_t, GmpiDrawing_API::MP1_POINT) {
    GmpiGui::GraphicsHost host = getGuiHost();
    if (host.getCapture()) host.releaseCapture();
    pinMouseDown = false;
    return MP_OK;
}

int32_t SemImageBackgroundXP::populateContextMenu(float, float, gmpi::IMpUnknown* contextMenuItemsSink) {
    if (!pinVisible.value) return -1;
    return tam_menu::populate(pinMenuItems.value, contextMenuItemsSink);
}

int32_t SemImageBackgroundXP::onContextMenu(int32_t selection) {
    if (!pinVisible.value) return -1;
    tam_menu::choose(pinMenuSelection, selection);
    return MP_OK;
}
