#include "viewer/gzip.h"

namespace Korr::Plim::Trace::Viewer {

std::string Gzip(std::string_view bytes) { return StoredGzip(bytes); }

}  // namespace Korr::Plim::Trace::Viewer
