// The user's base folders.
#pragma once

#include <string>

namespace dm::platform {

/// Absolute Linux paths, resolved whole once at first use (links in them are followed then and never again).
struct BaseFolders {
    std::string home;       ///< $HOME, else the account's home folder
    std::string dataHome;   ///< $XDG_DATA_HOME, else ~/.local/share
    std::string cacheHome;  ///< $XDG_CACHE_HOME, else ~/.cache
    std::string configHome; ///< $XDG_CONFIG_HOME, else ~/.config
};

const BaseFolders &baseFolders();

/// Makes a base folder and its missing parents with mode 0700. False with errno set where that is not possible.
bool makeBaseFolder(const std::string &path);

} // namespace dm::platform
