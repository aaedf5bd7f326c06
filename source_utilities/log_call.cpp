#include "source_utilities/log_call.h"

#include <cstdarg>

#include "source_utilities/uLogManager.h"

namespace KORR_PLIM {
namespace {

constexpr uint32_t kTimeOnly = 2;

uLogger* LoggerForLevel(int32_t threshold) {
    const uLogManager& manager = uLogManager::Instance();
    return manager.Level() >= threshold ? manager.CurrentLogger() : nullptr;
}

}  // namespace

void LogMessage(int32_t threshold, const char* format, ...) {
    if (uLogger* logger = LoggerForLevel(threshold)) {
        std::va_list arguments;
        va_start(arguments, format);
        logger->LogV(kLogMessage, kTimeOnly, format, arguments);
        va_end(arguments);
    }
}

void LogError(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    try {
        if (uLogger* logger = LoggerForLevel(kLogOrdinary)) {
            logger->LogV(kLogError, kTimeOnly, format, arguments);
        }
    } catch (...) {  // dropped: this is what handlers of errors do last
    }
    va_end(arguments);
}

}  // namespace KORR_PLIM
