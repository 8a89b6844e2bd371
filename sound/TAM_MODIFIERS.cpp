// The modifiers family: level, pan, mix, sample-and-hold and interrupter
// modules, the envelope generator and follower, the curve generators, and
// later the waveshapers. One static initialiser registers every module of
// the family, in the order of the family's table.
#include "frame/mp_sdk_audio.h"
#include "frame/mp_sdk_common.h"
#include "frame/mp_sdk_gui.h"
#include "sound/SemADSR.h"
#include "sound/SemCurveGen.h"
#include "sound/SemCurveMode.h"
#include "sound/SemEnvelopeFollower.h"
#include "sound/SemInterrupter.h"
#include "sound/SemLevelAdj.h"
#include "sound/SemMix.h"
#include "sound/SemPan.h"
#include "sound/SemSampleHold.h"
#include "sound/SemVCA.h"

namespace {

gmpi::IMpUnknown* createSemLevelAdj1() { return static_cast<gmpi::IMpPlugin*>(new SemLevelAdj(nullptr)); }
gmpi::IMpUnknown* createSemVCA2() { return static_cast<gmpi::IMpPlugin*>(new SemVCA(nullptr)); }
gmpi::IMpUnknown* createSemPan3() { return static_cast<gmpi::IMpPlugin*>(new SemPan(nullptr)); }
gmpi::IMpUnknown* createSemMix4() { return static_cast<gmpi::IMpPlugin*>(new SemMix(nullptr)); }
gmpi::IMpUnknown* createSemSampleHold5() { return static_cast<gmpi::IMpPlugin*>(new SemSampleHold(nullptr)); }
gmpi::IMpUnknown* createSemInterrupter6() { return static_cast<gmpi::IMpPlugin*>(new SemInterrupter(nullptr)); }
gmpi::IMpUnknown* createSemADSR7() { return static_cast<gmpi::IMpPlugin*>(new SemADSR(nullptr)); }
gmpi::IMpUnknown* createSemEnvelopeFollower8() { return static_cast<gmpi::IMpPlugin*>(new SemEnvelopeFollower(nullptr)); }
gmpi::IMpUnknown* createSemCurveGen11() { return static_cast<gmpi::IMpUserInterface*>(new SemCurveGen()); }
gmpi::IMpUnknown* createSemCurveMode12() { return static_cast<gmpi::IMpUserInterface*>(new SemCurveMode()); }

[[maybe_unused]] const int registered = [] {
    RegisterPlugin(gmpi::MP_SUB_TYPE_AUDIO, L"TamLevelAdj", createSemLevelAdj1);
    RegisterPlugin(gmpi::MP_SUB_TYPE_AUDIO, L"TamVCA", createSemVCA2);
    RegisterPlugin(gmpi::MP_SUB_TYPE_AUDIO, L"TamPan", createSemPan3);
    RegisterPlugin(gmpi::MP_SUB_TYPE_AUDIO, L"TamMix", createSemMix4);
    RegisterPlugin(gmpi::MP_SUB_TYPE_AUDIO, L"TamSampleHold", createSemSampleHold5);
    RegisterPlugin(gmpi::MP_SUB_TYPE_AUDIO, L"TamInterrupter", createSemInterrupter6);
    RegisterPlugin(gmpi::MP_SUB_TYPE_AUDIO, L"TamADSR", createSemADSR7);
    RegisterPlugin(gmpi::MP_SUB_TYPE_AUDIO, L"TamEnvelopeFollower", createSemEnvelopeFollower8);
    RegisterPlugin(gmpi::MP_SUB_TYPE_GUI, L"TamCurveGen", createSemCurveGen11);
    RegisterPlugin(gmpi::MP_SUB_TYPE_GUI, L"TamCurveMode", createSemCurveMode12);
    return 0;
}();

}  // namespace
