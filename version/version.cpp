#include "version/version.h"

#include "tarnel_commit.h"

namespace Korr::Plim::Trace {

namespace {

/// Mark and text in one piece; volatile, so that no compiler takes the pieces apart.
const volatile char marked[] = "@(#)Tarnel " TARNEL_VERSION " (" TARNEL_COMMIT ")";

}  // namespace

const char* VersionText() { return const_cast<const char*>(marked) + sizeof kVersionMark - 1; }

}  // namespace Korr::Plim::Trace
