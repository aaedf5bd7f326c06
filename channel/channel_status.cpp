#include "channel/channel_status.h"

namespace Korr::Plim::Trace::Tarnel {

void DescribeState(uint32_t state, StatusRecord& record) {
    switch (state) {
        case kCreated:
            record.code = 1;
            record.text = "Ready to calibrate";
            [[fallthrough]];  // The host is never to see that text.
        case kCalibrating:
            record.code = 1;
            record.text = "Calibrating ...";
            break;
        case kConfigured:
            record.code = 16;
            record.text = "Ready to record";
            record.flags[0] = record.flags[1] = 1;
            break;
        case kRecording:
            record.code = 6;
            record.text = "Recording";
            record.flags[0] = record.flags[3] = 1;
            break;
        case kStoppedByError:
            record.code = 10;
            record.text = "Stopped by error";
            record.flags[0] = record.flags[1] = record.flags[4] = 1;
            break;
        case kStoppedByUser:
            record.code = 11;
            record.text = "Stopped by user";
            record.flags[0] = record.flags[1] = record.flags[4] = 1;
            break;
        default:
            break;
    }
}

}  // namespace Korr::Plim::Trace::Tarnel
