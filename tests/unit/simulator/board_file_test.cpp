#include "simulator/board/board_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

namespace Korr::Plim::Trace::Simulator {

namespace {

Board Parse(const std::string& text) {
    return ParseBoard(nlohmann::ordered_json::parse(text), "folder/board.json");
}

std::string Refusal(const std::string& text) {
    try {
        Parse(text);
    } catch (const BoardError& error) {
        return error.what();
    }
    return "";
}

/// What is wrong with a file of this content, without the file's name; empty for a board.
std::string RefusalOfFile(const std::string& content) {
    const auto file = std::filesystem::temp_directory_path() /
                      ("tarnel_board_" + std::to_string(std::random_device{}()) + ".json");
    std::ofstream(file, std::ios::binary) << content;
    std::string error;
    try {
        ReadBoard(file.string());
    } catch (const BoardError& refusal) {
        error = refusal.what();
    }
    std::filesystem::remove(file);
    const std::string head = "board file " + file.string() + ": ";
    EXPECT_TRUE(error.empty() || error.starts_with(head)) << error;
    return error.empty() ? error : error.substr(head.size());
}

TEST(BoardFile, EmptyBoardHasTheDocumentedDefaults) {
    const Board board = Parse("{}");
    EXPECT_FALSE(board.deviceIdentification);
    EXPECT_FALSE(board.hasDeviceInformation);
    EXPECT_TRUE(board.createSetupAdapter && board.createDeviceIdentifier && board.createTargetAdapter);
    EXPECT_EQ(board.journal, "");
    EXPECT_EQ(board.exportStatus, 0u);
    EXPECT_TRUE(board.KnowsCpu("anything"));
}

TEST(BoardFile, EveryKeyIsUnderstood) {
    const Board board = Parse(R"({"set_up_file": {"a/b": "b.txt"}, "device_identification": "0x0B9AF02F",
        "device_information": {"MOD": {"REG": "400FE060"}}, "memory": {"0x10": "FF"}, "results": {"EnableTpiu": 3},
        "export_status": 5, "setup_adapter": {"create": false, "initialise_error": "why", "throws": true},
        "device_identifier": {"create": false}, "target_adapter": {"create": false}, "journal": "/j",
        "tpiu": "t.json", "trace_clock_hz": 12e6})");
    EXPECT_EQ(board.setUpFile.For("a/b"), "folder/b.txt");
    EXPECT_EQ(board.setUpFile.For("other"), "");
    EXPECT_TRUE(board.KnowsCpu("a/b"));
    EXPECT_FALSE(board.KnowsCpu("other"));
    EXPECT_EQ(board.deviceIdentification, 0x0B9AF02Fu);
    EXPECT_EQ(board.deviceInformation.at("MOD").at("REG"), "400FE060");
    EXPECT_EQ(board.memory.at(16), 255u);
    EXPECT_EQ(board.results.at("EnableTpiu"), 3u);
    EXPECT_EQ(board.exportStatus, 5u);
    EXPECT_FALSE(board.createSetupAdapter || board.createDeviceIdentifier || board.createTargetAdapter);
    EXPECT_EQ(board.initialiseError, "why");
    EXPECT_TRUE(board.setupAdapterThrows);
    EXPECT_EQ(board.journal, "/j");
    EXPECT_EQ(board.tpiu.For("any"), "folder/t.json");
    EXPECT_EQ(board.traceClockHz, 12e6);
}

TEST(BoardFile, UnknownKeysAreNamed) {
    EXPECT_EQ(Refusal(R"({"jurnal": "x"})"), "board file folder/board.json: \"jurnal\" is an unknown key");
    EXPECT_EQ(Refusal(R"({"setup_adapter": {"x": 1}})"),
              "board file folder/board.json: \"setup_adapter.x\" is an unknown key");
    EXPECT_EQ(Refusal(R"({"results": {"Enable": 1}})"),
              "board file folder/board.json: \"results.Enable\" is an unknown key");
}

TEST(BoardFile, ValuesOfTheWrongFormAreNamed) {
    for (const char* text :
         {R"({"journal": 1})", R"({"device_identification": "x"})", R"({"memory": {"g": "1"}})",
          R"({"memory": {"1": "123456789"}})", R"({"results": {"EnableTpiu": -1}})",
          R"({"export_status": 4294967296})", R"({"trace_clock_hz": 0})", R"({"memory": []})",
          R"({"target_adapter": {"create": 1}})"}) {
        EXPECT_NE(Refusal(text), "") << text;
    }
}

TEST(BoardFile, MissingFileIsNamed) {
    try {
        ReadBoard("no/such/board.json");
        FAIL();
    } catch (const BoardError& error) {
        EXPECT_STREQ(error.what(), "board file no/such/board.json: cannot be opened");
    }
}

TEST(BoardFile, NumberBeyondAllNumbersIsNoJson) {
    const std::string error = RefusalOfFile(R"({"trace_clock_hz": 1e999})");
    EXPECT_TRUE(error.starts_with("is no JSON: ")) << error;
}

TEST(BoardFile, MoreThanOneMebibyteIsRefused) {
    const std::string largest = "{}" + std::string((1 << 20) - 2, ' ');
    EXPECT_EQ(RefusalOfFile(largest), "");
    EXPECT_EQ(RefusalOfFile(largest + " "), "is longer than 1048576 bytes");
    EXPECT_EQ(RefusalOfFile(largest + largest), "is longer than 1048576 bytes");
}

TEST(BoardFile, FolderIsNoJson) {
    const std::string folder = std::filesystem::temp_directory_path().string();
    EXPECT_THROW(ReadBoard(folder), BoardError);
}

TEST(ResolveBeside, CompletesRelativePathsAlone) {
    EXPECT_EQ(ResolveBeside("/a/b.json", "c"), "/a/c");
    EXPECT_EQ(ResolveBeside("Z:\\a\\b.json", "c"), "Z:\\a\\c");
    EXPECT_EQ(ResolveBeside("b.json", "c"), "c");
    EXPECT_EQ(ResolveBeside("/a/b.json", "/c"), "/c");
    EXPECT_EQ(ResolveBeside("/a/b.json", "C:\\c"), "C:\\c");
    EXPECT_EQ(ResolveBeside("/a/b.json", ""), "");
}

TEST(ParseHexadecimal, TakesUpToEightDigits) {
    EXPECT_EQ(ParseHexadecimal("0xFFFFFFFF"), 0xFFFFFFFFu);
    EXPECT_EQ(ParseHexadecimal("1f"), 31u);
    for (const char* text : {"", "0x", "123456789", "1g", "-1", " 1"}) {
        EXPECT_FALSE(ParseHexadecimal(text)) << text;
    }
}

}  // namespace

}  // namespace Korr::Plim::Trace::Simulator
