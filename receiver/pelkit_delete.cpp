#include "host_api/cPelkitError.h"

/// The one member of the host's error class that lives here; the host calls it on errors that it has handled.
void cPelkitError::Delete() {}
