#include "channel/channel_status.h"

namespace Korr::Plim::Trace::Tarnel {

void DescribeState(uint32_t state, StatusRecord& record) {
    switch (state) {
        case kCreated:
            record.code = kStatusCalibrating;
            record.text = "Ready to calibrate";
            [[fallthrough]];  // The host is never to see that text.
        case kCalibrating:
            record.code = kStatusCalibrating;
            record.text = "Calibrating ...";
            break;
        case kConfigured:
            record.code = kStatusReady;
            record.text = "Ready to record";
            record.flags[0] = record.flags[1] = 1;
            break;
        case kRecording:
            record.code = kStatusRecording;
            record.text = "Recording";
            record.flags[0] = record.flags[3] = 1;
            break;
        case kStoppedByError:
            record.code = kStatusStoppedByError;
            record.text = "Stopped by error";
            record.flags[0] = record.flags[1] = record.flags[4] = 1;
            break;
        case kStoppedByUser:
            record.code = kStatusStoppedByUser;
            record.text = "Stopped by user";
            record.flags[0] = record.flags[1] = record.flags[4] = 1;
            break;
        default:
            break;
    }
}

}  // namespace Korr::Plim::Trace::Tarnel
