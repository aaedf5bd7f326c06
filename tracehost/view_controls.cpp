#include "tracehost/view_controls.h"

#include <utility>

#include "tracehost/port_types.h"
#include "viewer/feed.h"

namespace Korr::Plim::Trace::Tracehost {

void ViewControls::ShowPorts(const std::vector<Viewer::PortChoice>& choices) {
    std::map<uint8_t, Swo::PortType> read;
    for (const Viewer::PortChoice& choice : choices) {
        const auto type = ReadPortType(choice.type);
        if (!type) throw Viewer::BadQuestion("ports are text, u8, i8, u16, i16, u32, i32 or f32");
        read[choice.port] = *type;
    }
    const std::lock_guard guard(mutex);
    for (const auto& [port, type] : read) wanted[port] = type;
}

bool ViewControls::Apply(Swo::PortFormats& ports) {
    std::map<uint8_t, Swo::PortType> taken;
    {
        const std::lock_guard guard(mutex);
        taken.swap(wanted);
    }
    bool changes = false;
    for (const auto& [port, type] : taken) {
        const auto [format, isNew] = ports.try_emplace(port, Swo::PortFormat{type, {}});
        changes = changes || isNew || format->second.type != type;
        format->second.type = type;
    }
    return changes;
}

}  // namespace Korr::Plim::Trace::Tracehost
