// Registrations of the graphic controls family, in the order of the
// identifier table.
#include "controls/SemImageBackgroundXP.h"
#include "controls/SemVectorEllipseXP.h"
#include "controls/SemVectorRectangleXP.h"

namespace {

gmpi::IMpUnknown* asGraphicUnknown(gmpi_gui::MpGuiGfxBase* module) {
    return static_cast<gmpi::IMpUserInterface2B*>(module);
}

gmpi::IMpUnknown* createSemImageBackgroundXP1() { return asGraphicUnknown(new SemImageBackgroundXP()); }
gmpi::IMpUnknown* createSemVectorRectangleXP2() { return asGraphicUnknown(new SemVectorRectangleXP()); }
gmpi::IMpUnknown* createSemVectorEllipseXP3() { return asGraphicUnknown(new SemVectorEllipseXP()); }

[[maybe_unused]] const int32_t registered = RegisterPlugin(gmpi::MP_SUB_TYPE_GUI2, L"TamImageBackground1", createSemImageBackgroundXP1) +
                           RegisterPlugin(gmpi::MP_SUB_TYPE_GUI2, L"TamVectorRectangle1", createSemVectorRectangleXP2) +
                           RegisterPlugin(gmpi::MP_SUB_TYPE_GUI2, L"TamVectorEllipse1", createSemVectorEllipseXP3);

}  // namespace
