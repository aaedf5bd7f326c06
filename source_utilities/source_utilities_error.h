#pragma once

#include <stdexcept>

namespace KORR_PLIM {

/// Exception of the source utilities; carries only its message.
class source_utilities_error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace KORR_PLIM
