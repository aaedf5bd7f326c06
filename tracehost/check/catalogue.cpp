#include "tracehost/check/check.h"
#include "tracehost/check/subjects.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

const std::vector<Subject>& Subjects() {
    static const std::vector<Subject> subjects = {
        {"library", LibraryChecks},
        {"life", LifeChecks},
        {"receiver", ReceiverChecks},
        {"driver", DriverChecks},
        {"status", StatusChecks},
        {"attributes", AttributeChecks},
        {"configuration", ConfigurationChecks},
        {"recording", RecordingChecks},
        {"recording-faults", RecordingFaultChecks},
        {"data", DataChecks},
        {"save", SaveChecks},
        {"notifications", NotificationChecks},
        {"host-libraries", HostLibraryChecks},
        {"two-cpus", SeveralCpusChecks},
        {"order", OrderChecks},
        {"leaks", LeakChecks},
    };
    return subjects;
}

const Check* FindCheck(const std::string& name) {
    for (const Subject& subject : Subjects()) {
        for (const Check& check : subject.checks()) {
            if (name == check.name) return &check;
        }
    }
    return nullptr;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
