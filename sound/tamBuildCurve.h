// Response curves as "CRVE" blobs of 512 points: 0 linear, 1 exponential,
// 2 decibel, 3 adjusted decibel, 4 quarter sine, 5 square root.
#pragma once

#include "frame/mp_sdk_audio.h"

// Curve numbers outside 0 .. 5 take the nearest end.
MpBlob BuildCurveToBlob(int curve);
