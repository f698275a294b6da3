#pragma once

#include <span>
#include <stdexcept>
#include <string>

#include <sys/stat.h>

#include "StreamEdit.h"

namespace h265ps {

/// A file that cannot be written: what() names it and says why.
class CFileError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// A file that is there as a whole or not at all. It is written beside its place, and takes it in the end; until
/// then what stands there is untouched, and without that end it stays so, also when a signal ends the program.
/// One program writes one such file.
class CReplacedFile : public h265_inspect::CEditOutput
{
public:
    /// Refuses what is no regular file, which could not be left untouched, and the input itself, by whatever
    /// name. input: the path that is read, "-" for standard input. Throws CFileError, as all functions do.
    CReplacedFile(const std::string& path, const std::string& input);
    ~CReplacedFile() override;
    CReplacedFile(const CReplacedFile&) = delete;
    CReplacedFile& operator=(const CReplacedFile&) = delete;

    void write(std::span<const unsigned char> bytes) override;

    /// Puts the file in its place. It has the permissions of the one that stood there, else the input's.
    void commit();

private:
    [[noreturn]] void fail(int iErrno) const;
    void judge(const struct stat& input);
    void open();

    std::string m_path;
    std::string m_target; // where links lead
    std::string m_beside;
    bool m_bReplaces = false;
    struct stat m_replaced = {};
    mode_t m_mode = 0;
    int m_iFile = -1;
};

} // namespace h265ps
