#include "tracehost/board_editor.h"

#include <gtest/gtest.h>

#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Json = nlohmann::ordered_json;

Json Edited(Json board, const std::string& key, const std::string& value) {
    EditBoard(board, key, value);
    return board;
}

TEST(SplitBoardKey, DotsSeparateAndBackslashesProtect) {
    EXPECT_EQ(SplitBoardKey("results.EnableTpiu"), (std::vector<std::string>{"results", "EnableTpiu"}));
    EXPECT_EQ(SplitBoardKey("set_up_file.board\\.1/cpu\\\\x"),
              (std::vector<std::string>{"set_up_file", "board.1/cpu\\x"}));
    EXPECT_EQ(SplitBoardKey("memory.a\\."), (std::vector<std::string>{"memory", "a."}));
    EXPECT_EQ(SplitBoardKey("memory.a\\"), (std::vector<std::string>{"memory", "a\\"}));
}

TEST(EditBoard, MakesObjectsOnTheWay) {
    EXPECT_EQ(Edited(Json::object(), "results.EnableTpiu", "3"),
              Json::parse(R"({"results":{"EnableTpiu":3}})"));
}

TEST(EditBoard, TakesJsonWhereItIsJsonAndTextElsewhere) {
    EXPECT_EQ(Edited(Json::object(), "a", "true")["a"], true);
    EXPECT_EQ(Edited(Json::object(), "a", "{\"b\": 1}")["a"]["b"], 1);
    EXPECT_EQ(Edited(Json::object(), "a", "no json")["a"], "no json");
}

TEST(EditBoard, NumbersBelowMemoryStayTexts) {
    EXPECT_EQ(Edited(Json::object(), "memory.40000000", "20")["memory"]["40000000"], "20");
    EXPECT_EQ(Edited(Json::object(), "device_identification", "12345678")["device_identification"],
              "12345678");
}

TEST(EditBoard, NullRemovesTheKey) {
    EXPECT_EQ(Edited(Json::parse(R"({"memory":{"1":"2","3":"4"}})"), "memory.1", "null"),
              Json::parse(R"({"memory":{"3":"4"}})"));
}

TEST(EditBoard, EmptyNameAndNonObjectOnTheWayAreRefused) {
    EXPECT_THROW(Edited(Json::object(), "a..b", "1"), HostError);
    EXPECT_THROW(Edited(Json::object(), "", "1"), HostError);
    EXPECT_THROW(Edited(Json::parse(R"({"a":1})"), "a.b", "1"), HostError);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
