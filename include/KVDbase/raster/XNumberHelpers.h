// XNumberHelpers.h: decimal rounding and a character test for numeric text.
// Stateless, thread-safe free functions; neither reports an error, failure
// shows only in the returned value.
#pragma once

#include "KVDbase/platform/Export.h"
#include "KVDbase/core/XString.h"

// Rounds value to the step 10^(place + 1): place -1 rounds to units, 0 to
// tens, -3 to hundredths. A magnitude below the step comes back unchanged.
// Half a step is added whatever the sign and the result is truncated toward
// zero, so negatives round up: -14.0 at place -1 gives -13.0. A scaled value
// outside the 32-bit range becomes -2147483648 steps.
KVD_API double XfnRound(double value, int place);

// 1 if every character of text may belong to a number, else 0. With
// digitsOnly set only "0" to "9" pass. Otherwise digits and "-", ".", "E",
// "e", "D", "d" pass, with at most two "-", one "." and one exponent letter;
// positions are not checked, so "1-2-3" and a lone "-" pass. Empty text
// passes in both modes.
KVD_API int XfnIsNumber(XString text, int digitsOnly);
