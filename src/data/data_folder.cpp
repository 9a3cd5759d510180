#include "data/data_folder.h"

#include "core/handles.h"
#include "platform/win32.h"

#include <limits>
#include <stdexcept>

namespace dm {

namespace {

bool writeAndFlush(HANDLE file, std::string_view bytes) {
    if (bytes.size() > std::numeric_limits<DWORD>::max())
        return false;
    const auto size = static_cast<DWORD>(bytes.size());
    DWORD written = 0;
    return WriteFile(file, bytes.data(), size, &written, nullptr) && written == size && FlushFileBuffers(file);
}

} // namespace

WString dataFolder() {
    WChar base[MAX_PATH] = {};
    if (FAILED(SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, base)))
        throw std::runtime_error("LocalAppData");
    WString folder = WString(base) + W("\\Dustmere");
    CreateDirectoryW(folder.c_str(), nullptr); // it usually exists already
    return folder;
}

void atomicSave(const WString &path, std::string_view bytes) {
    const WString side = path + W(".new");
    OwnedHandle file(
        CreateFileW(side.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        throw std::runtime_error("cannot save settings");
    const bool flushed = writeAndFlush(file.get(), bytes);
    // Only a closed and flushed file is ever moved.
    file.reset();
    if (flushed && MoveFileExW(side.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        return;
    DeleteFileW(side.c_str());
    throw std::runtime_error("cannot commit settings");
}

} // namespace dm
