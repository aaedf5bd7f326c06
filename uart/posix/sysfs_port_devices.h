#pragma once

#include <string>
#include <vector>

namespace Korr::Plim::Trace::Tarnel {

/// The port devices below a sysfs tree, in the order of their numbers. ttyACM<N> is named by the text of its
/// USB interface, else of its USB product, followed by " (COM<N>)"; a device with neither text is left out.
/// \param root the tree's folder, "/sys" on a running system
std::vector<std::string> ListSysfsPortDevices(const std::string& root);

}  // namespace Korr::Plim::Trace::Tarnel
