#include "simulator/board/board_reader.h"

#include <algorithm>
#include <cmath>

namespace Korr::Plim::Trace::Simulator {

namespace {

/// The key of a name in an object, as messages show it.
std::string Key(const std::string& object, const std::string& name) {
    if (object.empty()) return name;
    std::string key = object;
    return key.append(".").append(name);
}

}  // namespace

void BoardReader::Refuse(const std::string& key, const std::string& what) const {
    throw BoardError("board file " + file + ": \"" + key + "\" " + what);
}

void BoardReader::ReadObject(const Json& object, const std::string& prefix,
                             const std::map<std::string, Setter>& known) const {
    for (const auto& [name, value] : object.items()) {
        const std::string key = Key(prefix, name);
        const auto setter = known.find(name);
        if (setter == known.end()) Refuse(key, "is an unknown key");
        setter->second(key, value);
    }
}

std::string BoardReader::Text(const std::string& key, const Json& value) const {
    if (!value.is_string()) Refuse(key, "must be a text");
    return value.get<std::string>();
}

bool BoardReader::Flag(const std::string& key, const Json& value) const {
    if (!value.is_boolean()) Refuse(key, "must be true or false");
    return value.get<bool>();
}

uint32_t BoardReader::Number(const std::string& key, const Json& value) const {
    const bool fits = value.is_number_unsigned() && value.get<uint64_t>() <= UINT32_MAX;
    if (!fits) Refuse(key, "must be a whole number from 0 to 4294967295");
    return value.get<uint32_t>();
}

uint32_t BoardReader::Hexadecimal(const std::string& key, const std::string& text) const {
    const auto number = ParseHexadecimal(text);
    if (!number) Refuse(key, "must be a 32-bit number as hexadecimal text, not \"" + text + "\"");
    return *number;
}

const BoardReader::Json& BoardReader::Object(const std::string& key, const Json& value) const {
    if (!value.is_object()) Refuse(key, "must be an object");
    return value;
}

PathPerCpu BoardReader::Paths(const std::string& key, const Json& value, Resolver resolve) const {
    PathPerCpu paths;
    if (!value.is_object()) {
        paths.common = resolve(file, Text(key, value));
        return paths;
    }
    for (const auto& [cpu, path] : value.items()) paths.byCpu[cpu] = resolve(file, Text(Key(key, cpu), path));
    return paths;
}

void BoardReader::ReadDeviceInformation(const std::string& key, const Json& value) {
    board.hasDeviceInformation = true;
    for (const auto& [module, registers] : Object(key, value).items()) {
        auto& addresses = board.deviceInformation[module];
        for (const auto& [name, address] : Object(Key(key, module), registers).items()) {
            addresses[name] = Text(Key(Key(key, module), name), address);
        }
    }
}

void BoardReader::ReadMemory(const std::string& key, const Json& value) {
    for (const auto& [address, word] : Object(key, value).items()) {
        const std::string wordKey = Key(key, address);
        board.memory[Hexadecimal(wordKey, address)] = Hexadecimal(wordKey, Text(wordKey, word));
    }
}

void BoardReader::ReadResults(const std::string& key, const Json& value) {
    for (const auto& [operation, result] : Object(key, value).items()) {
        const bool known = std::find(kTargetAdapterOperations.begin(), kTargetAdapterOperations.end(),
                                     operation) != kTargetAdapterOperations.end();
        if (!known) Refuse(Key(key, operation), "is an unknown key");
        board.results[operation] = Number(Key(key, operation), result);
    }
}

void BoardReader::ReadTraceClock(const std::string& key, const Json& value) {
    const bool valid = value.is_number() && std::isfinite(value.get<double>()) && value.get<double>() > 0;
    if (!valid) Refuse(key, "must be a number of Hz above 0");
    board.traceClockHz = value.get<double>();
}

void BoardReader::ReadSetupAdapter(const std::string& key, const Json& value) {
    ReadObject(
        Object(key, value), key,
        {{"create", [this](auto& name, auto& flag) { board.createSetupAdapter = Flag(name, flag); }},
         {"initialise_error", [this](auto& name, auto& text) { board.initialiseError = Text(name, text); }},
         {"throws", [this](auto& name, auto& flag) { board.setupAdapterThrows = Flag(name, flag); }}});
}

BoardReader::Setter BoardReader::CreateFlag(bool& flag) const {
    return [this, &flag](const std::string& key, const Json& value) {
        ReadObject(Object(key, value), key,
                   {{"create", [this, &flag](auto& name, auto& create) { flag = Flag(name, create); }}});
    };
}

Board BoardReader::Read(const Json& text) {
    board = Board();
    ReadObject(
        text, "",
        {{"set_up_file",
          [this](auto& key, auto& value) { board.setUpFile = Paths(key, value, ResolveBeside); }},
         {"device_identification",
          [this](auto& key, auto& value) {
              board.deviceIdentification = Hexadecimal(key, Text(key, value));
          }},
         {"device_information", [this](auto& key, auto& value) { ReadDeviceInformation(key, value); }},
         {"memory", [this](auto& key, auto& value) { ReadMemory(key, value); }},
         {"results", [this](auto& key, auto& value) { ReadResults(key, value); }},
         {"export_status", [this](auto& key, auto& value) { board.exportStatus = Number(key, value); }},
         {"setup_adapter", [this](auto& key, auto& value) { ReadSetupAdapter(key, value); }},
         {"device_identifier", CreateFlag(board.createDeviceIdentifier)},
         {"target_adapter", CreateFlag(board.createTargetAdapter)},
         {"journal",
          [this](auto& key, auto& value) { board.journal = ResolveWritten(file, Text(key, value)); }},
         {"tpiu", [this](auto& key, auto& value) { board.tpiu = Paths(key, value, ResolveWritten); }},
         {"trace_clock_hz", [this](auto& key, auto& value) { ReadTraceClock(key, value); }}});
    return board;
}

}  // namespace Korr::Plim::Trace::Simulator
