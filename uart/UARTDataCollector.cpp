#include "uart/UARTDataCollector.h"

#include "host_api/throw_error.h"
#include "source_utilities/on_failure.h"
#include "source_utilities/trace_environment.h"
#include "source_utilities/uMutex.h"
#include "source_utilities/uThread.h"
#include "source_utilities/visible_text.h"
#include "uart/collector_log.h"
#include "uart/prescaler_calibration.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

using KORR_PLIM::LogError;
using KORR_PLIM::LogMessage;

constexpr uint32_t kDrainRounds = 10;  // reads after a break, kDrainPause apart
constexpr uint32_t kDrainPause = 1;    // ms

// A collector works without a log as well. Drivers of several CPUs may make their collectors at once.
void OpenLog() {
    static KORR_PLIM::uMutex mutex;
    static KORR_PLIM::TraceEnvironment environment;
    const KORR_PLIM::uMutexLock guard(mutex);
    try {
        KORR_PLIM::SetUpTraceEnvironment(environment);
        KORR_PLIM::OpenProcessLog(environment);
    } catch (...) {
        return;
    }
}

void LogReadFailure() {
    LogError("%s: Reading COM port failed with error code %d", kCollectorTag,
             Printed(SerialPort::LastError()));
}

void LogWriteFailure() {
    LogError("%s: Writing to binary file failed with error code %d", kCollectorTag,
             Printed(CaptureFile::LastError()));
}

}  // namespace

UARTDataCollector::UARTDataCollector(uint32_t comPort, double traceClock, bool autoPrescaler,
                                     uint32_t& prescaler, const std::string& captureFileName,
                                     bool breakOnStop)
    : portNumber(comPort), sendBreakOnStop(breakOnStop), buffer(SerialPort::kCaptureReadSize) {
    OpenLog();
    KORR_PLIM::OnFailure closePort([this] {
        if (portHandle.IsOpen()) portHandle.Close();
    });
    try {
        OpenPort();
        ConfigurePort(portHandle, savedPortState, traceClock, autoPrescaler, prescaler, baudRate);
        DiscardPendingBytes();
        ReportConfiguration(traceClock, prescaler);
        MakeCaptureFile(captureFileName);
    } catch (const cPelkitError& refusal) {
        closePort.Dismiss();          // each of these has left the port as its step says
        throw cPelkitError(refusal);  // a new one: see OnFailure
    }
    closePort.Dismiss();
    running = true;
}

UARTDataCollector::~UARTDataCollector() {
    running = false;
    if (portHandle.IsOpen()) ReleasePort();
    if (fileHandle.IsOpen()) fileHandle.Close();
}

void UARTDataCollector::Run() {
    CaptureUntilStopped();
    if (sendBreakOnStop) BreakAndDrain();
    finished = true;
}

void UARTDataCollector::Stop() {
    running = false;
    portHandle.EndWaits();
}

bool UARTDataCollector::IsFinished() const { return finished; }

// Error numbers are taken after the close on purpose, here and below: they may be those of the close.
void UARTDataCollector::OpenPort() {
    if (!portHandle.Open(portNumber)) {
        LogError("%s: Failed to open COM%d with error code = %d", kCollectorTag, Printed(portNumber),
                 Printed(SerialPort::LastError()));
        ThrowError("Failed to open COM port");
    }
    if (!portHandle.SetPollingTimeouts()) {
        portHandle.Close();
        LogError("%s: Failed to set COM port Comm Timeouts with error code = %d", kCollectorTag,
                 Printed(SerialPort::LastError()));
        ThrowError("Failed to setup COM port communication");
    }
    if (!portHandle.GetState(savedPortState) || savedPortState.length == 0) {
        portHandle.Close();
        LogError("%s: Failed to get current Comm state with error code = %d", kCollectorTag,
                 Printed(SerialPort::LastError()));
        ThrowError("Failed to get COM port state");
    }
    LogMessage(KORR_PLIM::kLogOrdinary, "%s: Original emulator Baud rate = %d", kCollectorTag,
               Printed(savedPortState.baudRate));
}

// Best effort: what cannot be discarded is captured.
void UARTDataCollector::DiscardPendingBytes() {
    portHandle.Purge();
    PortQueue queue;
    portHandle.QueryQueue(queue);
    for (uint32_t left = queue.bytesWaiting; left != 0; --left) {
        uint8_t byte = 0;
        uint32_t bytesRead = 0;
        portHandle.Read(&byte, 1, bytesRead);
    }
}

void UARTDataCollector::ReportConfiguration(double traceClock, uint32_t prescaler) {
    LineState programmed;
    if (!portHandle.GetState(programmed) || programmed.length == 0) {
        portHandle.Close();
        LogError("%s: Failed to get programmed Comm state with error code = %d", kCollectorTag,
                 Printed(SerialPort::LastError()));
        ThrowError("Failed to get programmed COM port state");
    }
    LogMessage(KORR_PLIM::kLogOrdinary,
               "%s: UART configuration: Target: Trace Clock = %lf, Baud rate=%d, Prescalar=%d", kCollectorTag,
               traceClock, Printed(baudRate), Printed(prescaler));
    LogMessage(KORR_PLIM::kLogOrdinary, "%s: UART configuration: Emulator: Baud rate=%d", kCollectorTag,
               Printed(programmed.baudRate));
}

void UARTDataCollector::MakeCaptureFile(const std::string& captureFileName) {
    if (fileHandle.Create(captureFileName)) return;
    portHandle.Close();
    LogError("%s: Failed to open binary file %s with error code %d", kCollectorTag,
             KORR_PLIM::Visible(captureFileName).Text(), Printed(CaptureFile::LastError()));
    ThrowError("Failed to open binary file for trace data storage");
}

// Never sleeps while there may be data: the port's driver has little room, and every byte that it cannot hold
// is lost.
void UARTDataCollector::CaptureUntilStopped() {
    while (running) {
        uint32_t bytesRead = 0;
        if (!portHandle.Read(buffer.data(), SerialPort::kCaptureReadSize, bytesRead)) {
            LogReadFailure();
            return;
        }
        if (!fileHandle.Write(buffer.data(), bytesRead)) {
            LogWriteFailure();
            return;
        }
        portHandle.AwaitMore(bytesRead);
    }
}

// The break lasts until the destructor restores the line and closes the port.
void UARTDataCollector::BreakAndDrain() {
    if (!portHandle.SetBreak()) {
        LogError("%s: Failed to send Comm break state with error code = %d", kCollectorTag,
                 Printed(SerialPort::LastError()));
    }
    for (uint32_t round = 0; round < kDrainRounds; ++round) {
        uint32_t bytesRead = 0;
        if (!portHandle.Read(buffer.data(), SerialPort::kCaptureReadSize, bytesRead)) {
            LogReadFailure();
            return;
        }
        if (bytesRead > 0 && !fileHandle.Write(buffer.data(), bytesRead)) {
            LogWriteFailure();
            return;
        }
        KORR_PLIM::uThread::Sleep(kDrainPause);
    }
}

void UARTDataCollector::ReleasePort() {
    if (!portHandle.Purge()) {
        LogError("%s: Purge Comm failed with error code = %d.", kCollectorTag,
                 Printed(SerialPort::LastError()));
    }
    if (!portHandle.SetState(savedPortState)) {
        LogError("%s: Restoring communication state failed with error code %d", kCollectorTag,
                 Printed(SerialPort::LastError()));
    }
    if (!portHandle.Close()) {
        LogError("%s: Releasing port handle failed with error code %d", kCollectorTag,
                 Printed(SerialPort::LastError()));
    }
}

}  // namespace Korr::Plim::Trace::Tarnel
