// The entries of folders, read ahead by a second thread while a walk is under way.
#pragma once

#include "platform/linux/folders.h"
#include "platform/linux/record.h"

#include <memory>

namespace dm::platform {

/// One name of a folder.
struct ListedName {
    const char *name = nullptr; ///< as long as no other is asked for
    unsigned char type = 0;     ///< DT_, as the folder itself has it
    bool readable = false;      ///< the record is known; it is not in a folder that may be listed but not entered
    Record record;              ///< as it was when the folder was read, which may be a while ago
};

/// One pass over a folder in the order of the file system.
///
/// A walk lists a folder and, before it is through with it, the subfolders among its entries, each in its turn. What it
/// asks for next is therefore known, and as long as a listing is open a second thread may read that ahead, bounded in
/// entries, folders and descriptors. Each thread that lists has a second one of its own, which ends with its last
/// listing. A listing is used by the thread that opened it; any thread may close it.
struct FolderListing;

/// Opens a folder for reading under its parent: through no link, over no mount, and without a trace in the time when it
/// was last read where this user may ask for that. Empty with errno set.
Fd openForListing(int parent, const char *name);

/// The descriptor of what a walk was read ahead of under this name of a folder that is being listed, and its record
/// from then; null where there is none. Where the name is now has yet to be looked at.
SharedFd openedAhead(const FolderRef &parent, const std::string &name, Record &record);

/// The folder has a descriptor, and its record is not older than this walk of it. Null with errno set.
std::shared_ptr<FolderListing> openListing(const FolderRef &folder);

/// The next name; what is gone when its record is read is left out. Null at the end with errno 0, and with errno set
/// where the folder cannot be read any further.
const ListedName *nextName(FolderListing &listing);

} // namespace dm::platform
