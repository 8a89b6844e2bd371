// Graphic module base and the drawing conveniences shared by the controls.
#include "frame/mp_sdk_gui2.h"

#include "frame/mp_sdk_audio.h"

namespace GmpiDrawing {

namespace {

PathGeometry makePolyline(Graphics_base& graphics, const Point* points, unsigned int count,
                          MP1_FIGURE_BEGIN begin, MP1_FIGURE_END end) {
    PathGeometry geometry = graphics.GetFactory().CreatePathGeometry();
    GeometrySink sink = geometry.Open();
    if (sink.isNull()) return geometry;
    sink.BeginFigure(points[0], begin);
    for (unsigned int i = 1; i < count; ++i) sink.AddLine(points[i]);
    sink.EndFigure(end);
    sink.Close();
    return geometry;
}

}  // namespace

void Graphics_base::DrawLines(const Point* points, unsigned int count, const Brush& brush, float strokeWidth) {
    if (context_ == nullptr || points == nullptr || count < 2) return;
    PathGeometry geometry = makePolyline(*this, points, count, MP1_FIGURE_BEGIN_HOLLOW, MP1_FIGURE_END_OPEN);
    DrawGeometry(geometry, brush, strokeWidth);
}

void Graphics_base::FillPolygon(const Point* points, unsigned int count, const Brush& brush) {
    if (context_ == nullptr || points == nullptr || count < 3) return;
    PathGeometry geometry = makePolyline(*this, points, count, MP1_FIGURE_BEGIN_FILLED, MP1_FIGURE_END_CLOSED);
    FillGeometry(geometry, brush);
}

void Graphics_base::DrawTextW(const std::wstring& text, const TextFormat& format, const Rect& rect,
                              const Brush& brush, int32_t flags) {
    DrawTextU(WStringToUtf8(text), format, rect, brush, flags);
}

}  // namespace GmpiDrawing

namespace GmpiGui {

void TextEdit::ShowAsync(std::function<void(int32_t)> callback) {
    if (object_ == nullptr) return;
    setHandler(new gmpi_gui::MpCompletionHandler(std::move(callback)));
    object_->ShowAsync(handler_);
}

TextEdit GraphicsHost::createPlatformTextEdit(GmpiDrawing::Rect rect) {
    TextEdit edit;
    if (host_ == nullptr) return edit;
    void* object = nullptr;
    if (host_->queryInterface(TAM_IID_PLATFORM_TEXT_HOST, &object) != MP_OK || object == nullptr) return edit;
    auto* textHost = static_cast<gmpi_gui::IMpPlatformTextHost*>(object);
    gmpi::IMpUnknown* unknown = nullptr;
    if (textHost->createPlatformTextEdit(&rect, &unknown) == MP_OK && unknown != nullptr) {
        void* text = nullptr;
        if (unknown->queryInterface(TAM_IID_PLATFORM_TEXT, &text) == MP_OK && text != nullptr) {
            *edit.GetAddressOf() = static_cast<gmpi_gui::IMpPlatformText*>(text);
        }
        unknown->release();
    }
    textHost->release();
    return edit;
}

}  // namespace GmpiGui

namespace gmpi_gui {

MpGuiGfxBase::~MpGuiGfxBase() {
    if (graphicsHost != nullptr) graphicsHost->release();
}

int32_t MpGuiGfxBase::queryInterface(const gmpi::MpGuid& iid, void** object) {
    if (object == nullptr) return MP_FAIL;
    if (iid == SE_IID_GRAPHICS_MPGUI || iid == SE_IID_GRAPHICS_MPGUI2) {
        *object = static_cast<gmpi_gui_api::IMpGraphics2*>(this);
        addRef();
        return MP_OK;
    }
    return MpGuiBase2::queryInterface(iid, object);
}

int32_t MpGuiGfxBase::release() {
    if (--refCount_ == 0) {
        delete this;
        return 0;
    }
    return refCount_;
}

int32_t MpGuiGfxBase::setHost(gmpi::IMpUnknown* host) {
    if (graphicsHost != nullptr) {
        graphicsHost->release();
        graphicsHost = nullptr;
    }
    if (host != nullptr) {
        void* object = nullptr;
        if (host->queryInterface(SE_IID_GRAPHICS_HOST, &object) == MP_OK) {
            graphicsHost = static_cast<IMpGraphicsHost*>(object);
        }
    }
    return MpGuiBase2::setHost(host);
}

int32_t MpGuiGfxBase::measure(GmpiDrawing_API::MP1_SIZE availableSize,
                              GmpiDrawing_API::MP1_SIZE* returnDesiredSize) {
    if (returnDesiredSize == nullptr) return MP_FAIL;
    // Written so that a NaN size also becomes 1.
    returnDesiredSize->width = availableSize.width >= 1.0f ? availableSize.width : 1.0f;
    returnDesiredSize->height = availableSize.height >= 1.0f ? availableSize.height : 1.0f;
    return MP_OK;
}

int32_t MpGuiGfxBase::arrange(GmpiDrawing_API::MP1_RECT finalRect) {
    if (finalRect.left == rect.left && finalRect.top == rect.top && finalRect.right == rect.right &&
        finalRect.bottom == rect.bottom) {
        return MP_OK;
    }
    rect = finalRect;
    invalidateRect(nullptr);
    return MP_OK;
}

}  // namespace gmpi_gui
