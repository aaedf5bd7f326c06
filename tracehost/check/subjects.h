#pragma once

#include <vector>

#include "tracehost/check/check.h"

/// \file
/// The catalogue, a list for each subject; each stands in the file named after it.

namespace Korr::Plim::Trace::Tracehost::Validation {

const std::vector<Check>& LibraryChecks();
const std::vector<Check>& LifeChecks();
const std::vector<Check>& ReceiverChecks();
const std::vector<Check>& DriverChecks();
const std::vector<Check>& StatusChecks();
const std::vector<Check>& AttributeChecks();
const std::vector<Check>& ConfigurationChecks();
const std::vector<Check>& RecordingChecks();
const std::vector<Check>& RecordingFaultChecks();
const std::vector<Check>& DataChecks();
const std::vector<Check>& SaveChecks();
const std::vector<Check>& NotificationChecks();
const std::vector<Check>& HostLibraryChecks();
const std::vector<Check>& SeveralCpusChecks();
const std::vector<Check>& OrderChecks();
const std::vector<Check>& LeakChecks();

}  // namespace Korr::Plim::Trace::Tracehost::Validation
