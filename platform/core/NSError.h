#pragma once
// An error a platform service reports: a text for the user. Services hand it
// back through an out-parameter or throw it as it is.

#include <string>

namespace vantrel {

struct NSError {
    std::string localizedDescription;
};

} // namespace vantrel
