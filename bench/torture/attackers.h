// The attackers. Each is a process of its own that runs at full speed until it is told to stop, and then puts back what
// it has moved. None of them destroys anything: they rename without replacing, exchange, link, create, write to what
// may be deleted, and unlink nothing but their own second names.
#pragma once

#include "torture/arena.h"

#include <array>

namespace dm::torture {

using AttackerMain = void (*)(const Arena &arena, std::uint64_t seed);

/// Exchanges the root, its parent and its subfolders with links to their precious twins and with the twins themselves;
/// moves subfolders and files out of the root and back.
void attackFolders(const Arena &arena, std::uint64_t seed);
/// Exchanges precious files with names that are being deleted.
void attackByExchange(const Arena &arena, std::uint64_t seed);
/// Lists and watches every folder that it can and exchanges every new name that it sees.
void attackByWatching(const Arena &arena, std::uint64_t seed);
/// Makes names anew the moment they vanish.
void attackByMaking(const Arena &arena, std::uint64_t seed);
/// Adds hard links, by name and by a handle, and takes them away again.
void attackByLinking(const Arena &arena, std::uint64_t seed);
/// Rewrites and re-dates files, and holds others open or mapped.
void attackByUse(const Arena &arena, std::uint64_t seed);

struct NamedAttacker {
    const char *name;
    AttackerMain run;
};
inline constexpr std::array<NamedAttacker, 6> attackers = {{{"folders", attackFolders},
                                                            {"exchange", attackByExchange},
                                                            {"watching", attackByWatching},
                                                            {"making", attackByMaking},
                                                            {"linking", attackByLinking},
                                                            {"use", attackByUse}}};

} // namespace dm::torture
