#include "source_utilities/real_number.h"

#include <locale.h>
#include <stdlib.h>

namespace KORR_PLIM::platform {

double ReadRealNumber(const char* text) {
    static const _locale_t plain = _create_locale(LC_ALL, "C");
    return _strtod_l(text, nullptr, plain);
}

}  // namespace KORR_PLIM::platform
