#include "receiver/setup_file.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace {

using namespace Korr::Plim::Trace;
using namespace Korr::Plim::Trace::Tarnel;
using std::string_literals::operator""s;

std::vector<std::string> Lines(const std::string& content) {
    std::istringstream stream(content);
    SetupFileLines lines(stream);
    std::vector<std::string> result;
    for (std::string line; lines.Next(line);) result.push_back(line);
    return result;
}

ProbeKind Probe(const std::string& content) {
    std::istringstream stream(content);
    return ReadProbeKind(stream);
}

bool Has(const std::string& content, const std::string& section, const std::string& property,
         const std::string& value) {
    std::istringstream stream(content);
    return HasSetupProperty(stream, section, property, value);
}

using Strings = std::vector<std::string>;

TEST(SetupFileLines, EndWithLineFeedWithBothOrWithTheFile) {
    EXPECT_EQ(Lines(""), Strings{});
    EXPECT_EQ(Lines("a\n\nb"), (Strings{"a", "", "b"}));
    EXPECT_EQ(Lines("a\r\nb\r\n"), (Strings{"a", "b"}));
    EXPECT_EQ(Lines("a\rb\r\r\n"), (Strings{"a\rb\r"}));
}

TEST(SetupFileLines, LineOf16384BytesIsWhole) {
    const std::string line(16384, 'x');
    EXPECT_EQ(Lines(line + "\nnext\n"), (Strings{line, "next"}));
}

TEST(SetupFileLines, LongerLineIsCutAndItsRestIsNoLine) {
    const std::string line(16384, 'x');
    EXPECT_EQ(Lines(line + "$ brantor\nnext"), (Strings{line, "next"}));
    EXPECT_EQ(Lines(std::string(1000000, 'x')), Strings{line});
}

TEST(SetupFileLines, NulByteEndsTheTextOfItsLine) {
    EXPECT_EQ(Lines("ab\0cd\nef\0\n\0gh"s), (Strings{"ab", "ef", ""}));
}

TEST(SetupFileLines, UnreadableStreamHasNoLines) {
    std::istringstream stream("a\n");
    stream.setstate(std::ios::badbit);
    SetupFileLines lines(stream);
    std::string line;
    EXPECT_FALSE(lines.Next(line));
}

TEST(ReadProbeKind, SectionBrantorIsTheBrantorFamily) {
    EXPECT_EQ(Probe("$ brantor\n"), kBrantorProbe);
    EXPECT_EQ(Probe("$   brantor"), kBrantorProbe);
    EXPECT_EQ(Probe("$\tbrantor\tpod\r\n"), kBrantorProbe);
    EXPECT_EQ(Probe("# file\n\n  pod=1\n$ / \n$ brantor 2\n"), kBrantorProbe);
}

TEST(ReadProbeKind, ProductNamedQuillerIsTheQuillerProbe) {
    EXPECT_EQ(Probe("$ product\n  title=\"A probe\"\n  name=\"Quiller\"\n"), kQuillerProbe);
    EXPECT_EQ(Probe("$ product\nname_short = \"Quiller\"more"), kQuillerProbe);
}

TEST(ReadProbeKind, FileWithoutEitherLeavesTheProbeUnsupported) {
    EXPECT_EQ(Probe(""), kUnsupportedProbe);
    EXPECT_EQ(Probe("$ product\n  name=\"Other\"\n$ swd\n  swd_debug=enabled\n"), kUnsupportedProbe);
}

TEST(ReadProbeKind, ProductNameIsComparedWholeAndCaseSensitive) {
    EXPECT_EQ(Probe("$ product\n name=\"quiller\"\n"), kUnsupportedProbe);
    EXPECT_EQ(Probe("$ product\n name=\"Quiller2\"\n"), kUnsupportedProbe);
    EXPECT_EQ(Probe("$ product\n name=\"\"\n"), kUnsupportedProbe);
    EXPECT_EQ(Probe("$ product\n Name=\"Quiller\"\n"), kUnsupportedProbe);
}

TEST(ReadProbeKind, ProductNameNeedsBothQuotesAndAnEqualsSign) {
    EXPECT_EQ(Probe("$ product\n name=Quiller\n"), kUnsupportedProbe);
    EXPECT_EQ(Probe("$ product\n name=\"Quiller\n"), kUnsupportedProbe);
    EXPECT_EQ(Probe("$ product\n name=Quiller\"\n"), kUnsupportedProbe);
    EXPECT_EQ(Probe("$ product\n name \"Quiller\"\n"), kUnsupportedProbe);
    EXPECT_EQ(Probe("$ product\n name=\n"), kUnsupportedProbe);
}

TEST(ReadProbeKind, NameCountsOnlyInTheSectionProduct) {
    EXPECT_EQ(Probe("name=\"Quiller\"\n$ products\n name=\"Quiller\"\n"), kUnsupportedProbe);
    EXPECT_EQ(Probe("$ product\n$ /\n name=\"Quiller\"\n"), kUnsupportedProbe);
}

TEST(ReadProbeKind, ScanGoesOnAfterAnotherName) {
    EXPECT_EQ(Probe("$ product\n name=\"Other\"\n name=\"Quiller\"\n"), kQuillerProbe);
    EXPECT_EQ(Probe("$ product\n name=\"Other\"\n$ brantor\n"), kBrantorProbe);
}

TEST(ReadProbeKind, FirstProbeOfTheFileDecides) {
    EXPECT_EQ(Probe("$ product\n name=\"Quiller\"\n$ brantor\n"), kQuillerProbe);
    EXPECT_EQ(Probe("$ brantor\n$ product\n name=\"Quiller\"\n"), kBrantorProbe);
}

TEST(ReadProbeKind, CommentsAndLinesThatBeginWithABlankOpenNoSection) {
    EXPECT_EQ(Probe("#$ brantor\n"), kUnsupportedProbe);
    EXPECT_EQ(Probe(" $ brantor\n"), kUnsupportedProbe);
    EXPECT_EQ(Probe("$ product\n# name=\"Quiller\"\n#name=\"Quiller\"\n"), kUnsupportedProbe);
}

TEST(ReadProbeKind, SectionLineNeedsABlankAfterTheDollarSign) {
    EXPECT_EQ(Probe("$brantor\n"), kUnsupportedProbe);
    EXPECT_EQ(Probe("$\n$ \nbrantor\n"), kUnsupportedProbe);
    EXPECT_EQ(Probe("$ brantors\n$ Brantor\n"), kUnsupportedProbe);
}

TEST(HasSetupProperty, ComparesTheBeginningOfTheValue) {
    const std::string file = "$ swd\n  swd_debug=enabled\n  swo_data=tdo_pin\n";
    EXPECT_TRUE(Has(file, "swd", "swd_debug", "enabled"));
    EXPECT_TRUE(Has(file, "swd", "swd_debug", "en"));
    EXPECT_TRUE(Has(file, "swd", "swd_debug", ""));
    EXPECT_TRUE(Has("$ swd\nswd_debug=enabled_later", "swd", "swd_debug", "enabled"));
    EXPECT_FALSE(Has(file, "swd", "swd_debug", "Enabled"));
    EXPECT_FALSE(Has(file, "swd", "swd_debug", "enabled_later"));
}

TEST(HasSetupProperty, MissingSectionPropertyOrEqualsSignAnswersFalse) {
    EXPECT_FALSE(Has("", "swd", "swd_debug", ""));
    EXPECT_FALSE(Has("swd_debug=enabled\n", "swd", "swd_debug", "enabled"));
    EXPECT_FALSE(Has("$ dot7\n swd_debug=enabled\n", "swd", "swd_debug", "enabled"));
    EXPECT_FALSE(Has("$ swd\n swo_data=tdo_pin\n", "swd", "swd_debug", "enabled"));
    EXPECT_FALSE(Has("$ swd\n swd_debug enabled\n", "swd", "swd_debug", "enabled"));
}

TEST(HasSetupProperty, PropertyNameIsWhole) {
    EXPECT_FALSE(Has("$ swd\n swd_debug2=enabled\n", "swd", "swd_debug", "enabled"));
    EXPECT_FALSE(Has("$ swd\n swd_debug 2=enabled\n", "swd", "swd_debug", "enabled"));
    EXPECT_TRUE(Has("$ swd\n swd_debug2=off\n swd_debug=enabled\n", "swd", "swd_debug", "enabled"));
}

TEST(HasSetupProperty, BlanksBeforeTheEqualsSignDoNotCount) {
    EXPECT_TRUE(Has("$ swd\n\t swd_debug\t =enabled\n", "swd", "swd_debug", "enabled"));
}

TEST(HasSetupProperty, BlanksBehindTheEqualsSignBelongToTheValue) {
    EXPECT_FALSE(Has("$ swd\nswd_debug= enabled\n", "swd", "swd_debug", "enabled"));
    EXPECT_TRUE(Has("$ swd\nswd_debug= enabled\n", "swd", "swd_debug", " enabled"));
}

TEST(HasSetupProperty, SectionEndsWhereTheNextBegins) {
    EXPECT_FALSE(Has("$ swd\n$ /\n swd_debug=enabled\n", "swd", "swd_debug", "enabled"));
    EXPECT_FALSE(Has("$ swd\n$ \n swd_debug=enabled\n", "swd", "swd_debug", "enabled"));
}

TEST(HasSetupProperty, FirstPropertyOfTheNameDecides) {
    const std::string file = "$ swd\n swd_debug=off\n swd_debug=enabled\n$ swd\n swd_debug=enabled\n";
    EXPECT_FALSE(Has(file, "swd", "swd_debug", "enabled"));
    EXPECT_TRUE(Has(file, "swd", "swd_debug", "off"));
}

TEST(HasSetupProperty, SectionInSeveralPlacesIsOneSection) {
    EXPECT_TRUE(Has("$ swd\n a=1\n$ dot7\n$ swd\n b=2\n", "swd", "b", "2"));
}

TEST(HasSetupProperty, SectionNamesHave31Characters) {
    const std::string name(31, 's');
    EXPECT_TRUE(Has("$ " + name + "\n a=1\n", name, "a", "1"));
    EXPECT_TRUE(Has("$ " + name + "tail\n a=1\n", name, "a", "1"));
    EXPECT_FALSE(Has("$ " + name + "tail\n a=1\n", name + "tail", "a", "1"));
}

TEST(HasSetupProperty, CommentsAreNoProperties) {
    EXPECT_FALSE(Has("$ swd\n#swd_debug=enabled\n", "swd", "#swd_debug", "enabled"));
}

}  // namespace
