// The C interface: a report that keeps what the program would print.

#include "h265ps.h"

#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include "FileRun.h"
#include "JsonOutput.h"
#include "JsonSet.h"
#include "MemoryRefusals.h"
#include "SetNames.h"

namespace h265ps {

// A library leaves the handler of refused memory to the program that it is part of; what is refused arrives as an
// exception.
bool wasMemoryRefused() noexcept
{
    return false;
}

} // namespace h265ps

namespace {

using namespace h265ps;
using h265_inspect::FileFinding;
using h265_inspect::FileSet;

// Takes the program's output into memory.
class CMemoryOutput : public COutputStream
{
public:
    CMemoryOutput() : COutputStream(-1, {}) {}

    void append(std::string_view text) override { m_text += text; }

    std::string m_text;
};

struct KeptElement
{
    std::string name;
    std::string structure;
    std::string descriptor;
    std::int64_t iValue;
    std::uint64_t ulBit;
    std::uint64_t ulNalBit;
    std::uint32_t uiBits;
};

class CElementKeeper : public h265_syntax::CElementSink
{
public:
    explicit CElementKeeper(std::vector<KeptElement>& elements) : m_elements(elements) {}

    bool onElement(const h265_syntax::Element& element) override
    {
        m_elements.push_back({element.nameWithIndices(),
                              std::string(element.structure),
                              element.descriptor(),
                              element.iValue,
                              element.uiBit,
                              element.uiNalBit,
                              element.uiBits});
        return true;
    }

private:
    std::vector<KeptElement>& m_elements;
};

std::int64_t numberOr(const std::optional<std::uint64_t>& ulValue, std::int64_t iNone)
{
    return ulValue ? static_cast<std::int64_t>(*ulValue) : iNone;
}

int findingAt(const std::vector<FileFinding>& findings, std::size_t uiIndex, h265ps_finding* pFinding)
{
    if (uiIndex >= findings.size() || pFinding == nullptr)
        return 0;
    const FileFinding& found = findings[uiIndex];
    pFinding->severity =
        found.finding.eSeverity == h265_syntax::ESeverity::Error && !found.bNote ? H265PS_ERROR : H265PS_WARNING;
    pFinding->clause = found.finding.clause.c_str();
    pFinding->element = found.finding.element.c_str();
    pFinding->structure = found.finding.structure.c_str();
    pFinding->box = found.box.c_str();
    pFinding->message = found.finding.message.c_str();
    pFinding->offset = numberOr(found.ulOffset, -1);
    pFinding->bit = numberOr(found.finding.ulBit, -1);
    return 1;
}

} // namespace

struct h265ps_set
{
    h265ps_type eType = H265PS_VPS;
    int iId = -1;
    int iLayer = -1;
    std::string place;
    std::int64_t iOffset = -1;
    std::uint64_t ulSize = 0;
    std::int64_t iTrack = -1;
    std::optional<double> time;
    bool bRepeat = false;
    bool bAccepted = false;
    std::string json;
    std::vector<KeptElement> elements;  // of a repeat they are with the first one
    const h265ps_set* pFirst = nullptr; // of a repeat
    std::vector<FileFinding> findings;

    [[nodiscard]] const std::vector<KeptElement>& allElements() const
    {
        return pFirst != nullptr ? pFirst->elements : elements;
    }
};

struct h265ps_file
{
    std::vector<std::unique_ptr<h265ps_set>> sets;
    std::size_t uiNext = 0;
    std::string json;
    std::string errors;
    std::string verdict;
    int iExitCode = EXIT_FILE_ERROR;
    std::vector<FileFinding> findings;
};

namespace {

// Hands on to the JSON of the program, and keeps what that has no pieces of.
class CKeeper : public CReport
{
public:
    CKeeper(h265ps_file& file, std::string name) : m_file(file), m_name(std::move(name)) {}

    void begin(const std::string& /* file */, const CFileVerdict& verdict, EPace ePace) override
    {
        m_json.begin(m_name, verdict, ePace);
    }
    void add(const FileSet& told, bool bShown) override
    {
        const std::size_t uiBefore = m_output.m_text.size();
        m_json.add(told, bShown);
        auto pSet = std::make_unique<h265ps_set>();
        const std::size_t uiBegin = m_output.m_text.find('{', uiBefore); // behind a comma
        pSet->json = m_output.m_text.substr(uiBegin);
        fill(*pSet, told);
        m_file.sets.push_back(std::move(pSet));
        linkRepeat(*m_file.sets.back(), told);
    }
    void addFinding(const FileFinding& finding) override
    {
        m_json.addFinding(finding);
        m_file.findings.push_back(finding);
    }
    void error(std::string_view line) override { m_file.errors += line; }
    void errorOutside(std::string_view line) override { m_file.errors += line; }
    void stall() override {}
    bool end(const CFileVerdict& verdict, std::uint64_t ulBytes) override
    {
        const bool bEnded = m_json.end(verdict, ulBytes);
        m_file.json = std::move(m_output.m_text);
        if (m_file.json.ends_with('\n'))
            m_file.json.pop_back();
        m_file.verdict = verdict.worst().text();
        return bEnded;
    }

private:
    static void fill(h265ps_set& set, const FileSet& told)
    {
        const h265_stream::ParameterSetEvent& event = told.event;
        set.eType = static_cast<h265ps_type>(event.header.nal_unit_type);
        const std::optional<unsigned> uiId = told.set.hasSyntax() ? told.set.id() : idOf(event);
        set.iId = uiId ? static_cast<int>(*uiId) : -1;
        set.iLayer = event.bCutOff ? -1 : event.header.nuh_layer_id;
        set.place = told.place.text();
        set.iOffset = numberOr(told.place.ulOffset, -1);
        set.ulSize = event.ulSize;
        set.iTrack = numberOr(told.place.ulTrack, -1);
        set.time = told.place.time();
        set.bRepeat = told.sameAs.has_value();
        set.bAccepted = event.iRead == 0 && event.iVerify == 0;
        CElementKeeper keeper(set.elements);
        told.set.trace(keeper);
        for (const h265_syntax::Finding& finding : told.set.findings) {
            FileFinding found;
            found.finding = finding;
            found.ulTrack = told.place.ulTrack;
            found.ulOffset = told.place.ulOffset;
            set.findings.push_back(std::move(found));
        }
    }

    // A place can have several sets: those of a packet.
    static std::string keyOf(const h265_inspect::FilePlace& place, std::span<const unsigned char> bytes)
    {
        std::string key = place.text() + '\0';
        key.append(bytes.begin(), bytes.end());
        return key;
    }

    void linkRepeat(h265ps_set& set, const FileSet& told)
    {
        if (!told.sameAs) {
            m_firsts.emplace(keyOf(told.place, told.event.bytes), &set);
            return;
        }
        const auto first = m_firsts.find(keyOf(*told.sameAs, told.event.bytes));
        if (first == m_firsts.end())
            return;
        set.pFirst = first->second;
        set.iId = set.pFirst->iId;
    }

    h265ps_file& m_file;
    std::map<std::string, const h265ps_set*> m_firsts; // by place and bytes
    std::string m_name;
    CMemoryOutput m_output;
    CJsonReport m_json{m_output, CJsonReport::Options{}};
};

// The module's log, which is one for the process, belongs to one reading at a time.
std::mutex g_oneReading;

h265ps_status openAs(const std::string& path, const std::string& name, h265ps_file** ppFile)
{
    try {
        auto pFile = std::make_unique<h265ps_file>();
        CKeeper keeper(*pFile, name);
        Options options;
        options.inspect = {.bChecks = true, .bRepeats = false};
        CMemoryOutput output; // nothing is written there
        {
            const std::lock_guard lock(g_oneReading);
            pFile->iExitCode = CFileRun(options, output, keeper).run(path);
        }
        const bool bUnreadable = pFile->iExitCode == EXIT_FILE_ERROR;
        if (bUnreadable && pFile->errors.empty())
            return H265PS_NO_MEMORY; // every other reason is a line
        for (std::size_t i = 0; name != path && (i = pFile->errors.find(path, i)) != std::string::npos;
             i += name.size())
            pFile->errors.replace(i, path.size(), name);
        if (pFile->verdict.empty())
            pFile->verdict = bUnreadable ? "cannot be read" : "";
        *ppFile = pFile.release();
        return bUnreadable ? H265PS_UNREADABLE : H265PS_OK;
    } catch (const std::bad_alloc&) {
        return H265PS_NO_MEMORY;
    } catch (...) { // nothing may pass into C
        return H265PS_UNREADABLE;
    }
}

// A file that has no name, with these bytes.
class CNamelessFile
{
public:
    CNamelessFile(const void* pBytes, std::size_t uiSize) : m_iFile(::memfd_create("h265ps", MFD_CLOEXEC))
    {
        const char* pRest = static_cast<const char*>(pBytes);
        while (m_iFile >= 0 && uiSize != 0) {
            const ssize_t iWritten = ::write(m_iFile, pRest, uiSize);
            if (iWritten <= 0)
                return;
            pRest += iWritten;
            uiSize -= static_cast<std::size_t>(iWritten);
        }
        m_bWhole = m_iFile >= 0;
    }
    ~CNamelessFile()
    {
        if (m_iFile >= 0)
            ::close(m_iFile);
    }
    CNamelessFile(const CNamelessFile&) = delete;
    CNamelessFile& operator=(const CNamelessFile&) = delete;

    [[nodiscard]] bool isWhole() const { return m_bWhole; }
    [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(m_iFile); }

private:
    int m_iFile;
    bool m_bWhole = false;
};

} // namespace

extern "C" {

const char* h265ps_version(void)
{
    return H265PS_VERSION;
}

const char* h265ps_status_text(h265ps_status status)
{
    switch (status) {
    case H265PS_OK:
        return "read";
    case H265PS_UNREADABLE:
        return "cannot be read";
    case H265PS_BAD_ARGUMENT:
        return "a null pointer";
    case H265PS_NO_MEMORY:
        return "out of memory";
    }
    return "unknown";
}

h265ps_status h265ps_open(const char* path, h265ps_file** file)
{
    if (file == nullptr)
        return H265PS_BAD_ARGUMENT;
    *file = nullptr;
    if (path == nullptr)
        return H265PS_BAD_ARGUMENT;
    try {
        const std::string name(path);
        return openAs(name == "-" ? "./-" : name, name, file); // a file of this name, not standard input
    } catch (const std::bad_alloc&) {
        return H265PS_NO_MEMORY;
    }
}

h265ps_status h265ps_open_memory(const void* bytes, size_t size, h265ps_file** file)
{
    if (file == nullptr)
        return H265PS_BAD_ARGUMENT;
    *file = nullptr;
    if (bytes == nullptr && size != 0)
        return H265PS_BAD_ARGUMENT;
    const CNamelessFile nameless(bytes, size);
    if (!nameless.isWhole())
        return H265PS_NO_MEMORY;
    try {
        return openAs(nameless.path(), "memory", file);
    } catch (const std::bad_alloc&) {
        return H265PS_NO_MEMORY;
    }
}

void h265ps_close(h265ps_file* file)
{
    delete file;
}

const h265ps_set* h265ps_next(h265ps_file* file)
{
    return file != nullptr ? h265ps_set_at(file, file->uiNext < file->sets.size() ? file->uiNext++ : SIZE_MAX)
                           : nullptr;
}

void h265ps_rewind(h265ps_file* file)
{
    if (file != nullptr)
        file->uiNext = 0;
}

size_t h265ps_set_count(const h265ps_file* file)
{
    return file != nullptr ? file->sets.size() : 0;
}

const h265ps_set* h265ps_set_at(const h265ps_file* file, size_t index)
{
    return file != nullptr && index < file->sets.size() ? file->sets[index].get() : nullptr;
}

const char* h265ps_verdict(const h265ps_file* file)
{
    return file != nullptr ? file->verdict.c_str() : "";
}

int h265ps_exit_code(const h265ps_file* file)
{
    return file != nullptr ? file->iExitCode : EXIT_FILE_ERROR;
}

const char* h265ps_json(const h265ps_file* file)
{
    return file != nullptr ? file->json.c_str() : "";
}

const char* h265ps_errors(const h265ps_file* file)
{
    return file != nullptr ? file->errors.c_str() : "";
}

size_t h265ps_finding_count(const h265ps_file* file)
{
    return file != nullptr ? file->findings.size() : 0;
}

int h265ps_finding_at(const h265ps_file* file, size_t index, h265ps_finding* finding)
{
    return file != nullptr ? findingAt(file->findings, index, finding) : 0;
}

h265ps_type h265ps_set_type(const h265ps_set* set)
{
    return set != nullptr ? set->eType : H265PS_VPS;
}

int h265ps_set_id(const h265ps_set* set)
{
    return set != nullptr ? set->iId : -1;
}

int h265ps_set_layer(const h265ps_set* set)
{
    return set != nullptr ? set->iLayer : -1;
}

const char* h265ps_set_place(const h265ps_set* set)
{
    return set != nullptr ? set->place.c_str() : "";
}

int64_t h265ps_set_offset(const h265ps_set* set)
{
    return set != nullptr ? set->iOffset : -1;
}

uint64_t h265ps_set_size(const h265ps_set* set)
{
    return set != nullptr ? set->ulSize : 0;
}

int64_t h265ps_set_track(const h265ps_set* set)
{
    return set != nullptr ? set->iTrack : -1;
}

int h265ps_set_time(const h265ps_set* set, double* time)
{
    if (set == nullptr || !set->time || time == nullptr)
        return 0;
    *time = *set->time;
    return 1;
}

int h265ps_set_is_repeat(const h265ps_set* set)
{
    return set != nullptr && set->bRepeat ? 1 : 0;
}

int h265ps_set_is_accepted(const h265ps_set* set)
{
    return set != nullptr && set->bAccepted ? 1 : 0;
}

const char* h265ps_set_json(const h265ps_set* set)
{
    return set != nullptr ? set->json.c_str() : "";
}

int h265ps_set_value(const h265ps_set* set, const char* path, int64_t* value)
{
    if (set == nullptr || path == nullptr || value == nullptr)
        return 0;
    const std::string_view wanted(path);
    for (const KeptElement& element : set->allElements()) {
        const std::size_t uiInner = element.structure.empty() ? 0 : element.structure.size() + 1;
        if (wanted.size() != uiInner + element.name.size() || !wanted.ends_with(element.name) ||
            (uiInner != 0 && (!wanted.starts_with(element.structure) || wanted[uiInner - 1] != '.')))
            continue;
        *value = element.iValue;
        return 1;
    }
    return 0;
}

size_t h265ps_element_count(const h265ps_set* set)
{
    return set != nullptr ? set->allElements().size() : 0;
}

int h265ps_element_at(const h265ps_set* set, size_t index, h265ps_element* element)
{
    if (set == nullptr || element == nullptr || index >= set->allElements().size())
        return 0;
    const KeptElement& kept = set->allElements()[index];
    *element = {kept.name.c_str(),
                kept.structure.c_str(),
                kept.descriptor.c_str(),
                kept.iValue,
                kept.ulBit,
                kept.ulNalBit,
                kept.uiBits};
    return 1;
}

size_t h265ps_set_finding_count(const h265ps_set* set)
{
    return set != nullptr ? set->findings.size() : 0;
}

int h265ps_set_finding_at(const h265ps_set* set, size_t index, h265ps_finding* finding)
{
    return set != nullptr ? findingAt(set->findings, index, finding) : 0;
}

} // extern "C"
