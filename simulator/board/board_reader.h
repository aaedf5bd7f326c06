#pragma once

#include <functional>
#include <map>
#include <string>

#include "simulator/board/board_file.h"

namespace Korr::Plim::Trace::Simulator {

/// Turns the JSON of a board file into a Board. Every key is known or refused.
class BoardReader {
  public:
    /// \param boardFile path of the file, for messages and relative paths
    explicit BoardReader(std::string boardFile) : file(std::move(boardFile)) {}
    Board Read(const nlohmann::ordered_json& text);

  private:
    using Json = nlohmann::ordered_json;
    using Setter = std::function<void(const std::string& key, const Json& value)>;

    [[noreturn]] void Refuse(const std::string& key, const std::string& what) const;
    void ReadObject(const Json& object, const std::string& prefix,
                    const std::map<std::string, Setter>& known) const;
    std::string Text(const std::string& key, const Json& value) const;
    bool Flag(const std::string& key, const Json& value) const;
    uint32_t Number(const std::string& key, const Json& value) const;
    uint32_t Hexadecimal(const std::string& key, const std::string& text) const;
    const Json& Object(const std::string& key, const Json& value) const;
    using Resolver = std::string (*)(const std::string& file, const std::string& path);
    PathPerCpu Paths(const std::string& key, const Json& value, Resolver resolve) const;
    void ReadDeviceInformation(const std::string& key, const Json& value);
    void ReadMemory(const std::string& key, const Json& value);
    void ReadResults(const std::string& key, const Json& value);
    void ReadTraceClock(const std::string& key, const Json& value);
    void ReadSetupAdapter(const std::string& key, const Json& value);
    Setter CreateFlag(bool& flag) const;

    std::string file;
    Board board;
};

}  // namespace Korr::Plim::Trace::Simulator
