#include "viewer/server/request_reader.h"

#include <gtest/gtest.h>

#include "tests/fakes/memory_channel.h"

namespace {

using namespace Korr::Plim::Trace::Viewer;
using fakes::MemoryChannel;

RequestHead ReadOne(const std::string& said, std::ptrdiff_t atEnd = Korr::Plim::Trace::Network::kEnded) {
    MemoryChannel channel(said);
    channel.atEnd = atEnd;
    return RequestReader(channel).Read();
}

/// A request with these headers behind the host.
RequestHead With(const std::string& headers) {
    return ReadOne("GET / HTTP/1.1\r\nHost: h\r\n" + headers + "\r\n");
}

TEST(RequestReader, ReadsWhatCounts) {
    const RequestHead head = ReadOne(
        "GET /api/overview?token=1 HTTP/1.1\r\nhost:  127.0.0.1:1 \t\r\nORIGIN: http://x\r\nAccept: "
        "*/*\r\n\r\n");
    EXPECT_EQ(head.refusal, 0);
    EXPECT_FALSE(head.gone);
    EXPECT_EQ(head.line, "GET /api/overview?token=1 HTTP/1.1");
    EXPECT_EQ(head.host, "127.0.0.1:1");
    EXPECT_EQ(head.origin, "http://x");
    EXPECT_FALSE(head.close);
}

TEST(RequestReader, ReadsTheSameHoweverItIsCut) {
    const std::string said = "HEAD / HTTP/1.1\r\nHost: a\r\n\r\nGET /2 HTTP/1.0\r\nHost: b\r\n\r\n";
    for (std::size_t cut = 1; cut <= said.size(); ++cut) {
        MemoryChannel channel(said, cut);
        RequestReader reader(channel);
        const RequestHead first = reader.Read();
        const RequestHead second = reader.Read();
        EXPECT_EQ(first.line + first.host + second.line + second.host, "HEAD / HTTP/1.1aGET /2 HTTP/1.0b");
        EXPECT_FALSE(first.close);
        EXPECT_TRUE(second.close);
        EXPECT_TRUE(reader.Read().gone);
    }
}

TEST(RequestReader, ConnectionThatEndsOrBreaksAsksNothing) {
    for (const char* const said : {"", "GET / HT", "GET / HTTP/1.1\r\nHost: h\r\n"}) {
        EXPECT_TRUE(ReadOne(said).gone);
        EXPECT_TRUE(ReadOne(said, Korr::Plim::Trace::Network::kBroken).gone);
    }
    EXPECT_TRUE(ReadOne("", Korr::Plim::Trace::Network::kLater).gone);
}

TEST(RequestReader, RequestThatDoesNotComeInTimeIsRefused) {
    const RequestHead head = ReadOne("GET / HTTP/1.1\r\n", Korr::Plim::Trace::Network::kLater);
    EXPECT_EQ(head.refusal, 408);
    EXPECT_EQ(head.why, "the request did not come in time");
}

TEST(RequestReader, LinesThatAreNoRequestAreRefused) {
    const std::pair<std::string, const char*> lines[] = {
        {"GET", "the request line has not three parts"},
        {"GET /", "the request line has not three parts"},
        {"", "the request line has not three parts"},
        {"G(T / HTTP/1.1", "the method is not a word"},
        {" / HTTP/1.1", "the method is not a word"},
        {"GET / HTTP/2.0", "the version is neither HTTP/1.1 nor HTTP/1.0"},
        {"GET / http/1.1", "the version is neither HTTP/1.1 nor HTTP/1.0"},
        {"GET  HTTP/1.1", "the path is not of the form /path?name=value"},
        {"GET http://127.0.0.1/ HTTP/1.1", "the path is not of the form /path?name=value"},
        {"GET * HTTP/1.1", "the path is not of the form /path?name=value"},
        {"GET /a b HTTP/1.1", "the path is not of the form /path?name=value"},
        {"GET /#a HTTP/1.1", "the path is not of the form /path?name=value"},
        {"GET /?a?b HTTP/1.1", "the path is not of the form /path?name=value"},
        {"GET /\xC3\xA4 HTTP/1.1", "the path is not of the form /path?name=value"},
        {std::string("GET /\0 HTTP/1.1", 15), "the path is not of the form /path?name=value"},
        {"GET /\n HTTP/1.1", "the path is not of the form /path?name=value"}};
    for (const auto& [line, why] : lines) {
        const RequestHead head = ReadOne(line + "\r\nHost: h\r\n\r\n");
        EXPECT_EQ(head.refusal, 400) << line;
        EXPECT_EQ(head.why, why) << line;
    }
}

TEST(RequestReader, OtherMethodsAreRefused) {
    for (const char* const method : {"PUT", "DELETE", "OPTIONS", "TRACE", "CONNECT", "PATCH", "get", "FOO"}) {
        const RequestHead head = ReadOne(method + std::string(" / HTTP/1.1\r\nHost: h\r\n\r\n"));
        EXPECT_EQ(head.refusal, 405) << method;
        EXPECT_EQ(head.why, "there are GET, HEAD and POST alone") << method;
    }
}

TEST(RequestReader, HeadersThatAreNoneAreRefused) {
    for (const std::string& header :
         {std::string("Host"), std::string(": x"), std::string(" folded: x"), std::string("a b: x"),
          std::string("a: \0", 4), std::string("a: x\ny"), std::string("a: x\ry"), std::string("a: \x7F")}) {
        const RequestHead head = With(header + "\r\n");
        EXPECT_EQ(head.refusal, 400) << header;
        EXPECT_EQ(head.why, "a header is not of the form name: value") << header;
    }
    EXPECT_EQ(With("Accept-Language: \xC3\xA4\r\n").refusal, 0);
}

TEST(RequestReader, HostAndOriginAreThereOnce) {
    EXPECT_EQ(With("Host: h\r\n").why, "a header is there twice");
    EXPECT_EQ(With("Origin: o\r\nOrigin: o\r\n").why, "a header is there twice");
    EXPECT_EQ(With("Origin:\r\nOrigin: o\r\n").why, "a header is there twice");
    EXPECT_EQ(With("Origin: \r\n").why, "the origin is empty");
}

TEST(RequestReader, BodiesAreRefused) {
    for (const char* const header :
         {"Content-Length: 1", "content-length: 00", "Content-Length: ", "Transfer-Encoding: chunked"}) {
        EXPECT_EQ(With(header + std::string("\r\n")).why, "a request has no body here") << header;
    }
    EXPECT_EQ(With("Content-Length: 0\r\n").refusal, 0);
}

TEST(RequestReader, ConnectionsEndWhenAsked) {
    EXPECT_TRUE(With("Connection: close\r\n").close);
    EXPECT_TRUE(With("connection: Close\r\n").close);
    EXPECT_FALSE(With("Connection: keep-alive\r\n").close);
}

TEST(RequestReader, LongLinesAreRefusedWhereverTheyEnd) {
    const auto line = [](std::size_t size) { return "GET /" + std::string(size - 14, 'x') + " HTTP/1.1"; };
    EXPECT_EQ(ReadOne(line(8000) + "\r\nHost: h\r\n\r\n").refusal, 0);
    for (const std::string& said :
         {line(8001) + "\r\nHost: h\r\n\r\n", line(12000), std::string(20000, 'x')}) {
        const RequestHead head = ReadOne(said);
        EXPECT_EQ(head.refusal, 414);
        EXPECT_EQ(head.why, "the request line is longer than 8000 bytes");
    }
}

TEST(RequestReader, LongAndManyHeadersAreRefused) {
    const std::string line = "GET / HTTP/1.1\r\n";
    const auto filled = [&](std::size_t size) {
        return line + "a: " + std::string(size - line.size() - 3, 'x');
    };
    EXPECT_EQ(ReadOne(filled(16384) + "\r\n\r\n").refusal, 0);
    for (const std::string& said : {filled(16385) + "\r\n\r\n", filled(30000)}) {
        EXPECT_EQ(ReadOne(said).refusal, 431);
        EXPECT_EQ(ReadOne(said).why, "the headers are longer than 16384 bytes");
    }
    std::string many;
    for (int i = 0; i < 63; ++i) many += "a: b\r\n";
    EXPECT_EQ(With(many).refusal, 0);
    EXPECT_EQ(With(many + "a: b\r\n").why, "too many headers");
    EXPECT_EQ(With(many + "a: b\r\n").refusal, 431);
}

}  // namespace
