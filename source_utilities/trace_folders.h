#pragma once

#include <string>

namespace KORR_PLIM {

/// Appends a component to a path: one separator between them, foreign separators replaced, doubled ones
/// folded.
std::string JoinPath(const std::string& path, const std::string& component);
/// Makes a folder and every missing parent. \return whether the folder was made or its name exists already
bool CreateFolderTree(const std::string& path);

/// The folders of the trace files below the user's home. Each is created on disk, written to `folder` and
/// returned. \throws source_utilities_error when the user's home is unknown
std::string& GetLoggingFolder(std::string& folder);
std::string& GetDataFolder(std::string& folder);
std::string& GetSettingsFolder(std::string& folder);

/// The current working folder. \throws source_utilities_error when it is unknown
std::string GetWorkingFolder();

}  // namespace KORR_PLIM
