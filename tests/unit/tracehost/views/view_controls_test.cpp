// What pages want to be changed, until whoever shows the recording looks.
#include "tracehost/view_controls.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "viewer/feed.h"

namespace Korr::Plim::Trace::Tracehost {
namespace {

using Swo::PortType;

TEST(ViewControls, PortsAreShownAsWantedLast) {
    ViewControls controls;
    Swo::PortFormats ports{{uint8_t{3}, {PortType::F32, "speed"}}};
    EXPECT_FALSE(controls.Apply(ports)) << "nothing was wanted";
    controls.ShowPorts({{3, "u32"}, {0, "text"}});
    controls.ShowPorts({{3, "i16"}});
    EXPECT_TRUE(controls.Apply(ports));
    EXPECT_EQ(ports.at(3).type, PortType::I16);
    EXPECT_EQ(ports.at(3).name, "speed") << "names stay";
    EXPECT_EQ(ports.at(0).type, PortType::Text);
    EXPECT_FALSE(controls.Apply(ports)) << "once is enough";
    controls.ShowPorts({{3, "i16"}});
    EXPECT_FALSE(controls.Apply(ports)) << "they are shown so already";
}

TEST(ViewControls, TypesThatAreNoneChangeNothing) {
    ViewControls controls;
    Swo::PortFormats ports;
    for (const char* const wrong : {"", "f64", "F32", "text ", "u8:name"}) {
        try {
            controls.ShowPorts({{1, "u8"}, {2, wrong}});
            ADD_FAILURE() << wrong;
        } catch (const Viewer::BadQuestion& refusal) {
            EXPECT_STREQ(refusal.what(), "ports are text, u8, i8, u16, i16, u32, i32 or f32");
        }
    }
    EXPECT_FALSE(controls.Apply(ports));
    EXPECT_TRUE(ports.empty());
}

TEST(ViewControls, PagesWantPortsWhileTheViewLooks) {
    ViewControls controls;
    Swo::PortFormats ports;
    std::atomic<bool> over{false};
    std::thread page([&] {
        for (int i = 0; !over; ++i) controls.ShowPorts({{static_cast<uint8_t>(i % 32), "u32"}});
    });
    for (int i = 0; i < 2000000 || ports.size() < 32; ++i) controls.Apply(ports);
    over = true;
    page.join();
    EXPECT_EQ(ports.size(), 32U);
}

TEST(ViewControls, StopIsThatOfWhoRecords) {
    EXPECT_FALSE(ViewControls().Stop()) << "nobody records";
    int asked = 0;
    bool recording = true;
    ViewControls controls([&] { return ++asked, recording; });
    EXPECT_TRUE(controls.Stop());
    recording = false;
    EXPECT_FALSE(controls.Stop());
    EXPECT_EQ(asked, 2);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tracehost
