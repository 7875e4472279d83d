#pragma once
// The lines the app prints for whoever watches its output: one line on
// standard output, flushed at once so that it is never lost in a crash.

#include <cstdio>
#include <string_view>

namespace vantrel {

inline void printLine(std::string_view line) {
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

} // namespace vantrel
