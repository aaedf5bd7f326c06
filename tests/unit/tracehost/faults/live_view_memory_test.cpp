// A live view for whose changes there is no memory.
#include <gtest/gtest.h>

#include <new>

#include "tests/fakes/scripted_local_socket.h"
#include "tests/support/refusing_allocator.h"
#include "tests/unit/tracehost/views/said_text.h"
#include "tracehost/live_view.h"

namespace Korr::Plim::Trace::Tracehost {
namespace {

using fakes::ScriptedNetwork;

TEST(LiveViewMemory, TypesOfPortsThatFindNoMemoryEndTheView) {
    ScriptedNetwork::Reset();
    views::Folder folder;
    LivePart part;
    part.name = folder.Path("o.bin");
    part.raw = true;
    part.captureFile = folder.Put("capture", views::CaptureOf("said\n"));
    RecordRequest request;
    request.view = request.noBrowser = true;

    testing::internal::CaptureStderr();
    LiveView view(request, [&] { return part; });
    const std::string served = testing::internal::GetCapturedStderr();
    view.Take(views::CaptureOf("said\n"));
    const int page = ScriptedNetwork::Connect();
    ScriptedNetwork::Say(page, "POST /api/ports?types=3:u32&" + served.substr(served.find("token="), 38) +
                                   " HTTP/1.1\r\nHost: 127.0.0.1:4711\r\nContent-Length: 0\r\n\r\n");
    std::string answer;
    ASSERT_TRUE(views::Soon([&] { return (answer += ScriptedNetwork::Read(page)).ends_with("{}"); }))
        << answer;

    testing::internal::CaptureStderr();
    support::refusedNext = 1;
    view.Look();
    support::refusedNext = 0;
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              std::string("tracehost: --view shows no more of the recording, which goes on: ") +
                  std::bad_alloc().what() + "\n");
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tracehost
