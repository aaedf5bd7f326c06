#include "simulator/board/tpiu_state.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>

namespace Korr::Plim::Trace::Simulator {
namespace {

std::string ErrorOf(const std::string& text) {
    try {
        ParseTpiuState(text);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

std::string TemporaryFile(const std::string& name) {
    return (std::filesystem::temp_directory_path() / (name + std::to_string(std::random_device{}())))
        .string();
}

TEST(TpiuState, ComesBackFromItsText) {
    const TpiuState state{8191, 2, 64, true, true};
    EXPECT_EQ(ParseTpiuState(FormatTpiuState(state)), state);
    EXPECT_EQ(ParseTpiuState(FormatTpiuState(TpiuState{})), TpiuState{});
}

TEST(TpiuState, AbsentKeysKeepTheirStartingValues) {
    TpiuState expected;
    expected.enabled = true;
    EXPECT_EQ(ParseTpiuState("{\"enabled\": true}"), expected);
    EXPECT_EQ(ParseTpiuState("{}"), TpiuState{});
}

TEST(TpiuState, AnUnknownKeyIsNamed) {
    EXPECT_EQ(ErrorOf("{\"prescalar\": 1}"), "unknown key \"prescalar\"");
}

TEST(TpiuState, AValueOfTheWrongFormIsNamed) {
    EXPECT_EQ(ErrorOf("{\"prescaler\": -1}"), "\"prescaler\" must be a number from 0 to 4294967295");
    EXPECT_EQ(ErrorOf("{\"pinProtocol\": 4294967296}"),
              "\"pinProtocol\" must be a number from 0 to 4294967295");
    EXPECT_EQ(ErrorOf("{\"timestampPrescale\": \"4\"}"),
              "\"timestampPrescale\" must be a number from 0 to 4294967295");
    EXPECT_EQ(ErrorOf("{\"enabled\": 1}"), "\"enabled\" must be true or false");
}

TEST(TpiuState, TextThatIsNoObjectIsRefused) {
    for (const char* text : {"", "[]", "{", "{\"enabled\": tru"}) {
        EXPECT_EQ(ErrorOf(text), "not a JSON object");
    }
}

TEST(TpiuState, IsReadFromItsFileAndReplacedThere) {
    const std::string file = TemporaryFile("tpiu_state");
    EXPECT_EQ(ReadTpiuState(file), std::nullopt);
    for (const uint32_t prescaler : {5U, 23U}) {
        TpiuState state;
        state.prescaler = prescaler;
        WriteTpiuState(file, state);
        EXPECT_EQ(ReadTpiuState(file), state);
    }
    std::filesystem::remove(file);
}

TEST(TpiuState, ABadFileIsNamed) {
    const std::string file = TemporaryFile("tpiu_bad");
    std::ofstream(file) << "no";
    try {
        ReadTpiuState(file);
        ADD_FAILURE() << "was accepted";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), file + ": not a JSON object");
    }
    std::filesystem::remove(file);
}

TEST(TpiuState, AFileIsTakenUpToItsLimit) {
    const std::string file = TemporaryFile("tpiu_long");
    const std::string state = "{}";
    std::ofstream(file) << state << std::string(kLargestTpiuState - state.size(), ' ');
    EXPECT_EQ(ReadTpiuState(file), TpiuState{});
    std::ofstream(file, std::ios::app) << ' ';
    try {
        ReadTpiuState(file);
        ADD_FAILURE() << "was accepted";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), file + ": longer than 4096 bytes");
    }
    std::filesystem::remove(file);
}

TEST(TpiuState, AFileThatCannotBeWrittenIsNamed) {
    const std::string file = TemporaryFile("no_such_folder") + "/tpiu.json";
    try {
        WriteTpiuState(file, {});
        ADD_FAILURE() << "was accepted";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), file + ".new: cannot be written");
    }
}

}  // namespace
}  // namespace Korr::Plim::Trace::Simulator
