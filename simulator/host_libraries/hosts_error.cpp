#include "simulator/host_libraries/hosts_error.h"

#include <exception>

#include "host_api/cPelkitError.h"

namespace Korr::Plim::Trace::Simulator {

void ThrowAsHostsError() {
    try {
        throw;
    } catch (const cPelkitErrorIF&) {
        throw;
    } catch (const std::exception& error) {
        throw cPelkitError(error.what(), cPelkitErrorIF::eSEVERITY_ERROR);
    } catch (...) {
        throw cPelkitError("simulated host library: an exception of an unknown type",
                           cPelkitErrorIF::eSEVERITY_ERROR);
    }
}

}  // namespace Korr::Plim::Trace::Simulator
