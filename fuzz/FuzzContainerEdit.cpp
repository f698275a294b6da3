#include "EditedFile.h"
#include "FuzzInput.h"

using namespace h265_fuzz;
using namespace h265_test;

// A file with changed parameter sets: a setting as text behind its length, then the file. Without a setting it is the
// same file; what is written has the setting, so that the same edit changes nothing more.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t uiSize)
{
    CFuzzInput input(pData, uiSize);
    const std::vector<unsigned char> text = input.bytes();
    const std::vector<unsigned char> file = input.rest();
    if (!h265_inspect::isEditedAsContainer(kindOf(file)))
        return 0;
    const CEditedFile same = editedFile(file, {});
    check(same.bytes.empty() || same.bytes == file, "without a setting nothing changes");
    try {
        const std::vector<std::string> settings = {std::string(text.begin(), text.end())};
        const CEditedFile after = editedFile(file, settings);
        if (after.bytes.empty())
            return 0;
        const CEditedFile again = editedFile(after.bytes, settings);
        check(again.outcome.ulParameterSets == after.outcome.ulParameterSets, "no set comes or goes");
        check(again.outcome.ulChanged == 0, "all sets have the setting");
        check(again.bytes == after.bytes, "what has the setting is not changed");
    } catch (const h265_inspect::CSettingError&) {
        return 0; // no setting for this file
    }
    return 0;
}
