// The filters family: one-pole, state-variable and biquad filters and the
// stereo parametric equaliser. One static initialiser registers every module
// of the family, in the order of the family's table.
#include "frame/mp_sdk_audio.h"
#include "frame/mp_sdk_common.h"
#include "sound/SemFilter1Pole.h"
#include "sound/SemFilter2Pole.h"
#include "sound/SemFilter4Pole.h"
#include "sound/SemParametricEQ.h"

namespace {

gmpi::IMpUnknown* createSemFilter1Pole1() { return static_cast<gmpi::IMpPlugin*>(new SemFilter1Pole(nullptr)); }
gmpi::IMpUnknown* createSemFilter2Pole2() { return static_cast<gmpi::IMpPlugin*>(new SemFilter2Pole(nullptr)); }
gmpi::IMpUnknown* createSemFilter4Pole3() { return static_cast<gmpi::IMpPlugin*>(new SemFilter4Pole(nullptr)); }
gmpi::IMpUnknown* createSemParametricEQ4() { return static_cast<gmpi::IMpPlugin*>(new SemParametricEQ(nullptr)); }

[[maybe_unused]] const int registered = [] {
    RegisterPlugin(gmpi::MP_SUB_TYPE_AUDIO, L"TamFilter1Pole", createSemFilter1Pole1);
    RegisterPlugin(gmpi::MP_SUB_TYPE_AUDIO, L"TamFilter2Pole", createSemFilter2Pole2);
    RegisterPlugin(gmpi::MP_SUB_TYPE_AUDIO, L"TamFilter4Pole", createSemFilter4Pole3);
    RegisterPlugin(gmpi::MP_SUB_TYPE_AUDIO, L"TamParametricEQ", createSemParametricEQ4);
    return 0;
}();

}  // namespace
