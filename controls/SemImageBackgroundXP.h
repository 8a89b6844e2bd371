// A skin bitmap shown at its own size and opacity: the simplest user of the
// image cache. Without an image it draws a cross as a sign of the missing
// file. A boolean pin tells while the mouse is held down on it.
#pragma once

#include "controls/tamImageCache.h"
#include "frame/mp_sdk_gui2.h"

class SemImageBackgroundXP : public gmpi_gui::MpGuiGfxBase, public ImageCacheClient {
public:
    SemImageBackgroundXP();

    int32_t measure(GmpiDrawing_API::MP1_SIZE availableSize, GmpiDrawing_API::MP1_SIZE* returnDesiredSize) override;
    int32_t OnRender(GmpiDrawing_API::IMpDeviceContext* drawingContext) override;
    int32_t onPointerDown(int32_t flags, GmpiDrawing_API::MP1_POINT point) override;
    int32_t onPointerMove(int32_t flags, GmpiDrawing_API::MP1_POINT point) override;
    int32_t onPointerUp(int32_t flags, GmpiDrawing_API::MP1_POINT point) override;
    int32_t populateContextMenu(float x, float y, gmpi::IMpUnknown* contextMenuItemsSink) override;
    int32_t onContextMenu(int32_t selection) override;

    void onImageChanged();
    void onInvalidate();

private:
    StringGuiPin pinFilename;
    MpGuiPin<bool> pinVisible;
    MpGuiPin<float> pinOpacity;  // 10 is fully opaque
    MpGuiPin<bool> pinMouseDown;
    StringGuiPin pinMenuItems;
    MpGuiPin<int> pinMenuSelection;

    GmpiDrawing::Bitmap bitmap_;
};

// Shared by the controls: the context menu that the items pin describes.
namespace tam_menu {
// Entries "text" or "text=value" separated by commas; values count on from
// the previous one.
int32_t populate(const std::wstring& items, gmpi::IMpUnknown* sink);
// The chosen item goes out, then -1, so that each choice is a pulse.
void choose(MpGuiPin<int>& pin, int32_t selection);
}  // namespace tam_menu
