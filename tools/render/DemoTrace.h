#pragma once
// The built-in demo: a pointer flight, clicks, a rest on a labelled button
// and typing in a text field, at 60 frames a second.

#include "Trace.h"

#include <vector>

namespace vantrel::tools {

/// The demo for a display of `width` by `height` points; it fits the text
/// field of the synthetic desktop.
std::vector<TraceFrame> makeDemoTrace(int width, int height);

} // namespace vantrel::tools
