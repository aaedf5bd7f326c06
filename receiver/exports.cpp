#include "receiver/exports.h"

#include <cstdint>
#include <memory>
#include <new>

#include "receiver/Receiver.h"
#include "receiver/host_library.h"
#include "source_utilities/log_call.h"
#include "source_utilities/trace_environment.h"

using Korr::Plim::Trace::CReceiver;
using Korr::Plim::Trace::ThrowError;
using Korr::Plim::Trace::Tarnel::kReceiverTag;
using Korr::Plim::Trace::Tarnel::Receiver;
using KORR_PLIM::kLogOrdinary;
using KORR_PLIM::LogError;
using KORR_PLIM::LogMessage;

namespace {

/// State of the loaded library.
KORR_PLIM::TraceEnvironment environment;
Receiver* instance = nullptr;
int32_t referenceCount = 0;

/// A process without folders or log still gets its receiver.
void PrepareEnvironment() {
    try {
        KORR_PLIM::SetUpTraceEnvironment(environment);
        KORR_PLIM::OpenProcessLog(environment);
    } catch (...) {
    }
}

void MakeInstance() {
    std::unique_ptr<Receiver> made(new (std::nothrow) Receiver);
    if (made == nullptr) {
        LogError("%s: Failed to create SWO receiver", kReceiverTag);
        ThrowError("Failed to create SWO receiver");
    }
    LogMessage(kLogOrdinary, "%s: Created SWO receiver", kReceiverTag);
    instance = made.release();
}

}  // namespace

extern "C" CReceiver* CreateRcvr() {
    PrepareEnvironment();
    if (instance == nullptr) MakeInstance();
    ++referenceCount;
    return instance;
}

extern "C" void DestroyRcvr(CReceiver* receiver) {
    if (receiver == nullptr || receiver != instance || referenceCount <= 0) return;
    if (--referenceCount > 0) return;
    try {
        instance->Close();
        delete instance;
        instance = nullptr;
        LogMessage(kLogOrdinary, "%s: Receiver destroyed", kReceiverTag);
    } catch (...) {
        LogError("%s: An expection for caught when destroying receiver", kReceiverTag);
    }
}
