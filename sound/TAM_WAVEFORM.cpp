// The waveform family: the wave table oscillator, the tempo-locked LFO and
// the GUI modules that make waveform blobs. One static initialiser registers
// them in the order of the family's table.
#include "frame/mp_sdk_audio.h"
#include "frame/mp_sdk_common.h"
#include "frame/mp_sdk_gui.h"
#include "sound/SemLFO.h"
#include "sound/SemOscillator.h"
#include "sound/SemWaveGen.h"
#include "sound/SemWaveMode.h"

namespace {

gmpi::IMpUnknown* createSemOscillator1() { return static_cast<gmpi::IMpPlugin*>(new SemOscillator(nullptr)); }
gmpi::IMpUnknown* createSemLFO2() { return static_cast<gmpi::IMpPlugin*>(new SemLFO(nullptr)); }
gmpi::IMpUnknown* createSemWaveGen3() { return static_cast<gmpi::IMpUserInterface*>(new SemWaveGen()); }
gmpi::IMpUnknown* createSemWaveMode4() { return static_cast<gmpi::IMpUserInterface*>(new SemWaveMode()); }

[[maybe_unused]] const int registered = [] {
    RegisterPlugin(gmpi::MP_SUB_TYPE_AUDIO, L"TamOscillator", createSemOscillator1);
    RegisterPlugin(gmpi::MP_SUB_TYPE_AUDIO, L"TamLFO", createSemLFO2);
    RegisterPlugin(gmpi::MP_SUB_TYPE_GUI, L"TamWaveGen", createSemWaveGen3);
    RegisterPlugin(gmpi::MP_SUB_TYPE_GUI, L"TamWaveMode", createSemWaveMode4);
    return 0;
}();

}  // namespace
