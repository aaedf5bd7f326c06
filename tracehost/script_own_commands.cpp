// Script commands that call nothing of the plug-in.
#include <chrono>
#include <thread>

#include "options/ChannelOptionsHandler.h"
#include "tracehost/board_editor.h"
#include "tracehost/record_options.h"
#include "tracehost/script_session.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Session = ScriptSession;
using Arguments = ScriptArguments;
using Tarnel::ChannelOptionsHandler;
using Tarnel::OptionList;

constexpr uint32_t kAnyProbe = 2;
constexpr uint32_t kLongestSleep = 3600000;

Answer OptionsAnswer(const OptionList& options) {
    Answer list = Answer::array();
    for (const auto& option : options) {
        list.push_back({{"id", option.id}, {"key", option.key}, {"value", option.value}});
    }
    return list;
}

void DefaultOptions(Session&, const Arguments& arguments, Answer& answer) {
    const OptionList options = DocumentedDefaults();
    SaveWholeOptions(options, arguments.Text(0));
    answer["options"] = OptionsAnswer(options);
}

void Options(Session&, const Arguments& arguments, Answer& answer) {
    ChannelOptionsHandler handler;
    OptionList options;
    answer["options"] = OptionsAnswer(handler.GetOptions(options, arguments.Text(0), kAnyProbe));
}

void SetBoardKey(Session&, const Arguments& arguments, Answer&) {
    EditCurrentBoard(arguments.Text(0), arguments.Text(1));
}

void Sleep(Session&, const Arguments& arguments, Answer&) {
    std::this_thread::sleep_for(std::chrono::milliseconds(arguments.Number(0, kLongestSleep)));
}

}  // namespace

const std::vector<ScriptCommand>& OwnCommands() {
    static const std::vector<ScriptCommand> commands = {
        {"default-options", "FILE", 1, 1, DefaultOptions},
        {"options", "FILE", 1, 1, Options},
        {"board", "KEY VALUE", 2, 2, SetBoardKey},
        {"sleep", "MS", 1, 1, Sleep},
    };
    return commands;
}

}  // namespace Korr::Plim::Trace::Tracehost
