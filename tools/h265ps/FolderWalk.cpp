#include "FolderWalk.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>

#include <sys/stat.h>

#include <dirent.h>

#include "ErrorLine.h"

namespace h265ps {

CFolderWalk::CFolderWalk(std::vector<std::string> names) : m_names(std::move(names)) {}

std::optional<WalkedFile> CFolderWalk::next()
{
    while (true) {
        std::optional<WalkedFile> file;
        if (!m_open.empty()) {
            Folder& folder = m_open.back();
            if (folder.uiNext == folder.entries.size()) {
                m_open.pop_back();
                continue;
            }
            const Entry& entry = folder.entries[folder.uiNext++];
            std::string path = folder.path + entry.name;
            file = entry.bRegular ? WalkedFile{std::move(path), ""} : visit(std::move(path), false);
        } else if (m_uiNext < m_names.size()) {
            m_seen.clear(); // what is named again is wanted again
            file = visit(m_names[m_uiNext++], true);
        } else {
            return std::nullopt;
        }
        if (file)
            return file;
    }
}

// bNamed: by the user, who is told when it is not there. Inside a folder it may have gone meanwhile, or is a link that
// leads nowhere.
std::optional<WalkedFile> CFolderWalk::visit(std::string path, bool bNamed)
{
    if (bNamed && path == "-")
        return WalkedFile{std::move(path), ""};
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) {
        const int iErrno = errno;
        if (!bNamed && (iErrno == ENOENT || iErrno == ELOOP)) {
            ++m_ulPassedOver;
            return std::nullopt;
        }
        return WalkedFile{std::move(path), systemReason(iErrno)};
    }
    if (S_ISREG(status.st_mode))
        return WalkedFile{std::move(path), ""};
    if (!S_ISDIR(status.st_mode)) {
        ++m_ulPassedOver;
        return std::nullopt;
    }
    if (!m_seen.emplace(status.st_dev, status.st_ino).second)
        return std::nullopt;
    return enter(std::move(path));
}

std::optional<WalkedFile> CFolderWalk::enter(std::string path)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> pFolder(::opendir(path.c_str()), &::closedir);
    if (pFolder == nullptr)
        return WalkedFile{std::move(path), systemReason(errno)};
    Folder folder;
    errno = 0;
    while (const dirent* const pEntry = ::readdir(pFolder.get())) {
        const std::string_view name = pEntry->d_name;
        if (name != "." && name != "..")
            folder.entries.push_back({std::string(name), pEntry->d_type == DT_REG});
        errno = 0;
    }
    const int iErrno = errno;
    std::ranges::sort(folder.entries, {}, &Entry::name);
    folder.path = path + (path.ends_with('/') ? "" : "/");
    m_open.push_back(std::move(folder));
    if (iErrno != 0) // what was read of it is gone through
        return WalkedFile{std::move(path), systemReason(iErrno)};
    return std::nullopt;
}

} // namespace h265ps
