#include "source_utilities/real_number.h"

#include <locale.h>
#include <stdlib.h>

namespace KORR_PLIM::platform {

double ReadRealNumber(const char* text) {
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    return strtod_l(text, nullptr, plain);
}

}  // namespace KORR_PLIM::platform
