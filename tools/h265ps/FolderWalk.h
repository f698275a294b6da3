#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace h265ps {

/// A file that a walk came to, or why it did not.
struct WalkedFile
{
    std::string path;
    std::string error; // empty: the file is to be read
};

/// Goes through files and folders, in the order in which they are named and in folders by the bytes of the names.
/// Each folder is gone through once, by whatever names and links it is reached, so links never make it endless.
/// What is neither a folder nor a regular file (FIFOs, sockets, devices) is passed over, and counted: opening it could
/// wait without end. "-" is standard input, whatever that is.
class CFolderWalk
{
public:
    explicit CFolderWalk(std::vector<std::string> names);

    /// The next file; none at the end.
    std::optional<WalkedFile> next();

    /// What was passed over: no regular files, and links that lead nowhere.
    [[nodiscard]] std::uint64_t passedOver() const noexcept { return m_ulPassedOver; }

private:
    struct Entry
    {
        std::string name;
        bool bRegular; // for certain: it need not be looked at
    };
    struct Folder
    {
        std::string path; // ends with /
        std::vector<Entry> entries;
        std::size_t uiNext = 0;
    };

    std::optional<WalkedFile> visit(std::string path, bool bNamed);
    std::optional<WalkedFile> enter(std::string path);

    std::vector<std::string> m_names;
    std::size_t m_uiNext = 0;
    std::vector<Folder> m_open;                               // the innermost last
    std::set<std::pair<std::uint64_t, std::uint64_t>> m_seen; // folders, by device and inode
    std::uint64_t m_ulPassedOver = 0;
};

} // namespace h265ps
