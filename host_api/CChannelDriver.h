#pragma once

#include <HostString.h>
#include <cstdint>

#include "host_api/TraceChannelAttributes.h"

namespace Korr::Plim::Trace {

/// Codes of a channel driver's status, as the host numbers them.
enum StatusCode : uint32_t {
    kStatusCalibrating = 1,
    kStatusRecording = 6,
    kStatusStoppedByError = 10,
    kStatusStoppedByUser = 11,
    kStatusReady = 16,
};

/// What GetStatus fills. Owned by the caller. The meanings of the flags are the host's.
struct StatusRecord {
    uint32_t code = 0;                   ///< a StatusCode, or 0
    HostString text;                     ///< the state in words
    uint8_t flags[5] = {0, 0, 0, 0, 0};  ///< flag 0 to flag 4, each 0 or 1
};

/// One traced CPU. States: created, configured, recording, stopped. Owned by the receiver.
///
/// GetStatus, SetConfiguration, StartRecording and StopRecording wait for each other; nothing else waits.
/// What a host has to know beyond the single operations:
/// - A StopRecording that is refused because the target runs leaves the driver locked by the calling
///   thread. It can go on as if it were not, and must be the one that releases the driver or destroys the
///   receiver; every other thread waits in those four operations until then, for ever.
/// - A SetConfiguration that is refused keeps the state, but what was read before the refusal holds
///   already. The options take effect in the order firmware, prescaler, clock, port, timestamp prescale,
///   and the first that is wrong ends it. The next start uses what then holds.
/// - A SetConfiguration while recording does not stop the capture. It goes on, into the same file,
///   although the state is "Ready to record" and a StopRecording is refused. The next StartRecording ends
///   it, also one that fails, and so does the driver's release.
/// - A capture that ends by itself (port gone, disk full) does not change the state. It stays "Recording"
///   until the stop.
class CChannelDriver : public TraceChannelAttributes {
  public:
    /// Always false: the capture file never wraps. [any host thread]
    virtual bool IsBufferWrapped() = 0;
    /// Reads and applies an options file; the state becomes configured, also while recording. [any host
    /// thread] \param optionsFileName null is refused \throws cPelkitError; the state is then unchanged,
    /// options before the refused one hold
    virtual void SetConfiguration(const char* optionsFileName) = 0;
    /// Programs the TPIU and starts the capture. A refusal because of the state is logged and returns
    /// normally. [any host thread, configured or stopped] \param flag not used \throws cPelkitError; nothing
    /// is then running
    virtual void StartRecording(uint8_t flag) = 0;
    /// Stops the capture. A refusal because of the state is logged and returns normally. [any host thread,
    /// recording] \throws cPelkitError while the target is running; the recording goes on, and the driver is
    /// locked by this thread from then on
    virtual void StopRecording() = 0;
    /// Not supported. [any host thread] \throws cPelkitError always
    virtual void ResumeRecording() = 0;
    /// Writes all samples into a file. [any host thread]
    /// \param fileName empty or null is refused
    /// \param format 2: raw bytes, the file is replaced; any other: a section of the host's TDF file, which
    /// must exist
    ///
    /// Saves the samples that there are at the start; goes on asking for samples that cannot be read. Raw
    /// bytes that the disk does not take are not reported. \throws cPelkitError
    virtual void SaveFile(const char* fileName, int32_t format) = 0;
    /// Not supported. [any host thread] \throws cPelkitError always
    virtual void LoadFile(const char* fileName) = 0;
    /// Reads samples of 8 bytes from the capture. Never throws. [any host thread]
    /// \param startSample first sample, from 0
    /// \param requested number of samples wanted
    /// \param buffer the caller's, room for `requested` samples; null reads nothing
    /// \param samplesRead out: the result once more
    /// \return samples read; a partial last sample counts and is padded with zero bytes
    virtual uint32_t SeekReadTraceData(uint32_t startSample, uint32_t requested, void* buffer,
                                       uint32_t& samplesRead) = 0;
    /// Length of the capture in samples of 8 bytes, rounded up, at most 4294967295; 0 when there is none.
    /// Never throws. [any host thread]
    virtual uint32_t GetNumSamples() = 0;
    /// The CPU name as given at allocation; valid while the driver lives. [any host thread]
    virtual const char* GetCpuName() = 0;
    /// Fills the record; leaves it untouched while there is no target connection. [any host thread]
    virtual void GetStatus(StatusRecord& record) = 0;
    /// Sets `result` to a fixed text and returns it. [any host thread]
    virtual HostString& GetExtendedInfo(HostString& result) = 0;
    /// Job state of the host; 0 is noted in the log. [any host thread]
    virtual void JobStateChanged(uint32_t state) = 0;
    /// Keeps the host's target state; 3 and 4: no connection, 6: running. [any host thread]
    virtual void SetTargetState(uint32_t state) = 0;
    /// Keeps a halt state per CPU name; null is ignored. [host thread]
    virtual void SetHaltState(const char* cpuName, uint8_t state) = 0;
    /// Forgets the halt state of a CPU name; null is ignored. [host thread]
    virtual void UnregisterCpu(const char* cpuName) = 0;
};

}  // namespace Korr::Plim::Trace
