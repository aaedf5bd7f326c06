#include "tests/unit/viewer/window_reader.h"

#include <gtest/gtest.h>

#include <cstring>

namespace Korr::Plim::Trace::Viewer {

namespace {

template <class Number>
std::vector<double> Numbers(const std::string& data, size_t at, size_t count) {
    std::vector<double> all;
    for (size_t i = 0; i < count; ++i) {
        Number number;
        std::memcpy(&number, data.data() + at + i * sizeof(Number), sizeof(Number));
        all.push_back(static_cast<double>(number));
    }
    return all;
}

size_t SizeOf(const std::string& type) {
    return type == "u8" ? 1 : type == "u16" ? 2 : type == "u32" || type == "f32" ? 4 : type == "f64" ? 8 : 0;
}

std::vector<double> ReadArray(const std::string& data, const Json& place) {
    const std::string type = place["type"];
    const size_t at = place["at"];
    const size_t count = place["count"];
    EXPECT_NE(SizeOf(type), 0U) << type;
    EXPECT_EQ(at % 8, 0U);
    if (SizeOf(type) == 0 || at + count * SizeOf(type) > data.size()) {
        ADD_FAILURE() << "an array reaches behind the answer's end: " << place;
        return {};
    }
    if (type == "u8") return Numbers<uint8_t>(data, at, count);
    if (type == "u16") return Numbers<uint16_t>(data, at, count);
    if (type == "u32") return Numbers<uint32_t>(data, at, count);
    if (type == "f32") return Numbers<float>(data, at, count);
    return Numbers<double>(data, at, count);
}

Arrays ReadArrays(const std::string& data, const Json& places) {
    Arrays arrays;
    for (const auto& [name, place] : places.items()) arrays[name] = ReadArray(data, place);
    return arrays;
}

}  // namespace

ReadWindow Read(const std::string& answer) {
    ReadWindow window;
    EXPECT_EQ(answer.substr(0, 4), "KTW1");
    uint32_t length = 0;
    std::memcpy(&length, answer.data() + 4, 4);
    window.header = Json::parse(answer.substr(8, length));
    const size_t begin = (8 + size_t{length} + 7) / 8 * 8;
    const std::string data = answer.substr(begin);
    for (const Json& track : window.header["tracks"]) {
        window.tracks[track["id"]] = ReadArrays(data, track["arrays"]);
    }
    window.marks = ReadArrays(data, window.header["marks"]["arrays"]);
    return window;
}

}  // namespace Korr::Plim::Trace::Viewer
