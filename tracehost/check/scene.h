#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tracehost/check/check_adapter.h"
#include "tracehost/check/plugin_calls.h"
#include "tracehost/check/stage.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

/// One reference to the plug-in's receiver, given back with the object.
class Life {
  public:
    explicit Life(Stage& stage);
    ~Life();
    Life(const Life&) = delete;
    Life& operator=(const Life&) = delete;

    ReceiverCalls receiver;

  private:
    const Plugin& plugin;
};

/// The states of a channel driver.
enum class State { Created, Configured, Recording, Stopped };
/// "created", "configured", "recording", "stopped"
const char* NameOf(State state);
/// What a recording is made of: the four states, or the first two where there is no port, which is remarked.
std::vector<State> StatesAt(const Stage& stage);

inline constexpr const char* kCpu = "board/Cortex_M4_0";
inline constexpr const char* kCpuShortName = "Cortex_M4_0";
inline constexpr uint32_t kCpuId = 0x80000007;
/// What a driver notes in the log when its job has changed.
inline constexpr const char* kModifiedJob = "state changed to eJOB_MODIFIED_DISABLE_RESUME";

/// A channel driver, which is released with the object; its receiver has a reference for as long.
class Scene {
  public:
    explicit Scene(Stage& on);
    /// A driver of another CPU beside the one of `beside`, from the same receiver, which must live longer.
    Scene(const Scene& beside, const char* cpu, uint32_t cpuId);
    ~Scene();
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    Stage& stage;
    std::optional<Life> life;
    ReceiverCalls receiver;
    CheckAdapter adapter;
    DriverCalls driver;

    void Configure() const { driver.SetConfiguration(stage.WriteOptions().c_str()); }
    /// Configures, and takes a fresh driver to a state. A recorded driver has recorded nothing.
    void BringTo(State state) const;
    /// Sends bytes to the recording driver and waits until it has them all, of which `before` were there.
    void Capture(const std::string& bytes, std::size_t before = 0, uint32_t port = 0) const;
    /// Every byte that the driver has captured, padded to whole samples.
    std::string ReadAll(uint32_t step = 1000) const;
    /// Gives the driver back at once.
    void Release();

  private:
    void Allocate(const char* cpu);
};

/// The status with which GetStatus answers. Its text is copied.
struct Status {
    uint32_t code = 0;
    std::string text;
    std::string flags;  ///< "11001": flag 0 first; a flag that is neither 0 nor 1 is shown as "?"
};
Status StatusOf(const DriverCalls& driver);

/// A stream of bytes in which every value comes, and no stretch repeats early.
std::string KnownBytes(std::size_t count, uint32_t seed = 1);
/// Bytes as samples hold them: zeros up to a multiple of 8.
std::string Padded(std::string bytes);
/// Fails unless both are the same bytes; says where they differ.
void ExpectBytes(const std::string& what, const std::string& got, const std::string& wanted);

}  // namespace Korr::Plim::Trace::Tracehost::Validation
