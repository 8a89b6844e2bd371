// The effects family: reverb, modulated delays and the other effects, each a
// DSP module registered here in the order of the family's identifier table.
#include "effects/SemDetune.h"
#include "effects/SemEcho.h"
#include "effects/SemFlanger.h"
#include "effects/SemLeslie.h"
#include "effects/SemPhaser.h"
#include "effects/SemReverb.h"
#include "effects/SemUnison.h"

namespace {

template <typename Module>
gmpi::IMpUnknown* make() {
    return static_cast<gmpi::IMpPlugin*>(new Module());
}

gmpi::IMpUnknown* createSemDetune4() { return make<SemDetune>(); }
gmpi::IMpUnknown* createSemEcho6() { return make<SemEcho>(); }
gmpi::IMpUnknown* createSemFlanger7() { return make<SemFlanger>(); }
gmpi::IMpUnknown* createSemLeslie9() { return make<SemLeslie>(); }
gmpi::IMpUnknown* createSemPhaser11() { return make<SemPhaser>(); }
gmpi::IMpUnknown* createSemReverb12() { return make<SemReverb>(); }
gmpi::IMpUnknown* createSemUnison14() { return make<SemUnison>(); }

const int registered = [] {
    RegisterPlugin(0, L"TamFxDetune", createSemDetune4);
    RegisterPlugin(0, L"TamFxEcho", createSemEcho6);
    RegisterPlugin(0, L"TamFxFlanger", createSemFlanger7);
    RegisterPlugin(0, L"TamFxLeslie", createSemLeslie9);
    RegisterPlugin(0, L"TamFxPhaser", createSemPhaser11);
    RegisterPlugin(0, L"TamFxReverb", createSemReverb12);
    RegisterPlugin(0, L"TamFxUnison", createSemUnison14);
    return 0;
}();

}  // namespace
