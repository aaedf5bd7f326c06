#include <filesystem>
#include <fstream>

#include "simulator/board/board_file.h"

namespace Korr::Plim::Trace::Simulator {

bool ReplaceFile(const std::string& file, const std::string& text) {
    const std::string fresh = file + ".new";
    {
        std::ofstream stream(fresh, std::ios::binary | std::ios::trunc);
        stream << text;
        stream.flush();
        if (!stream) return false;
    }
    std::error_code failure;
    std::filesystem::rename(fresh, file, failure);
    return !failure;
}

}  // namespace Korr::Plim::Trace::Simulator
