#include "CommandLine.h"

#include <string_view>
#include <utility>

#include <CLI/CLI.hpp>

#include "ErrorLine.h"
#include "OutputStream.h"

namespace h265ps {

namespace {

// Help without the dots that mark what may be given again.
class CHelp : public CLI::Formatter
{
public:
    std::string make_option_opts(const CLI::Option* pOption) const override
    {
        return pOption->get_positional() ? Formatter::make_option_opts(pOption) : " " + pOption->get_type_name();
    }
};

// An option with a value that is used once.
template <class T>
CLI::Option& addSingle(CLI::App& app, const OptionText& text, std::function<void(const T&)> use)
{
    const auto useOne = [name = text.name, use = std::move(use)](const std::vector<T>& values) {
        if (values.size() != 1)
            throw CLI::ValidationError(name.substr(name.find("--")), "may be given once only");
        use(values.front());
    };
    return *app.add_option_function<std::vector<T>>(text.name, useOne, text.pHelp)
                ->allow_extra_args(false)
                ->type_name(text.pValue);
}

// The name of a flag that is given a value; empty without one.
std::string flagWithValue(const CLI::App& app, std::span<char* const> arguments)
{
    for (const std::string_view argument : arguments) {
        if (argument == "--")
            break;
        std::string name(argument.substr(0, argument.find('='))); // not const: it is moved out
        if (name.size() == argument.size() || !name.starts_with("--"))
            continue;
        const CLI::Option* const pOption = app.get_option_no_throw(name);
        if (pOption != nullptr && pOption->get_items_expected_max() == 0)
            return name;
    }
    return "";
}

} // namespace

int endEarly(const EarlyEnd& end, COutputStream& output)
{
    if (!end.error.empty())
        writeError(end.error);
    output.append(end.output);
    return end.eExitCode;
}

CCommandLine::CCommandLine(const VerbUsage& usage)
    : m_name(usage.pName), m_pApp(std::make_unique<CLI::App>(usage.pDescription, usage.pName))
{
    m_pApp->formatter(std::make_shared<CHelp>());
    m_pApp->set_version_flag("--version", "h265ps " H265PS_VERSION);
    m_pApp->footer(usage.pFooter);
}

CCommandLine::~CCommandLine() = default;

void CCommandLine::addWord(const std::string& name, const char* pHelp, std::string& word)
{
    m_pApp->add_option(name, word, pHelp)->type_name("");
}

void CCommandLine::addWords(const std::string& name, const char* pHelp, std::vector<std::string>& words)
{
    m_pApp->add_option(name, words, pHelp)->type_name("");
}

void CCommandLine::addFlag(const std::string& name, const char* pHelp, bool& bFlag)
{
    m_pApp->add_flag(name, bFlag, pHelp);
}

void CCommandLine::addValue(const OptionText& text, std::function<void(const std::string&)> use)
{
    addSingle<std::string>(*m_pApp, text, std::move(use));
}

void CCommandLine::addRequiredValue(const OptionText& text, std::function<void(const std::string&)> use)
{
    addSingle<std::string>(*m_pApp, text, std::move(use)).required();
}

void CCommandLine::addChoice(const OptionText& text, const std::vector<std::string>& choices,
                             std::function<void(const std::string&)> use)
{
    addSingle<std::string>(*m_pApp, text, std::move(use)).check(CLI::IsMember(choices).description(""));
}

void CCommandLine::addRequiredChoice(const OptionText& text, const std::vector<std::string>& choices,
                                     std::function<void(const std::string&)> use)
{
    addSingle<std::string>(*m_pApp, text, std::move(use)).required()->check(CLI::IsMember(choices).description(""));
}

void CCommandLine::addNumber(const OptionText& text, std::function<void(std::uint64_t)> use)
{
    addSingle<std::uint64_t>(*m_pApp, text, std::move(use));
}

void CCommandLine::addNumber(const OptionText& text, unsigned uiLeast, unsigned uiMost,
                             std::function<void(unsigned)> use)
{
    addSingle<unsigned>(*m_pApp, text, std::move(use)).check(CLI::Range(uiLeast, uiMost).description(""));
}

void CCommandLine::addValues(const OptionText& text, const std::function<void(const std::vector<std::string>&)>& use)
{
    m_pApp->add_option_function<std::vector<std::string>>(text.name, use, text.pHelp)
        ->allow_extra_args(false)
        ->type_name(text.pValue);
}

std::optional<EarlyEnd> CCommandLine::parse(std::span<char* const> arguments)
{
    const std::string hint = usageHint();
    if (const std::string flag = flagWithValue(*m_pApp, arguments); !flag.empty())
        return EarlyEnd{EXIT_FILE_ERROR, "", flag + ": takes no value" + hint};
    std::vector<const char*> words = {m_name.c_str()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    try {
        m_pApp->parse(static_cast<int>(words.size()), words.data());
    } catch (const CLI::CallForHelp&) {
        return EarlyEnd{EXIT_ALL_READ, m_pApp->help(), ""};
    } catch (const CLI::CallForVersion& version) {
        return EarlyEnd{EXIT_ALL_READ, std::string(version.what()) + "\n", ""};
    } catch (const CLI::ParseError& error) {
        return EarlyEnd{EXIT_FILE_ERROR, "", error.what() + hint};
    } catch (const COptionError& error) {
        return EarlyEnd{EXIT_FILE_ERROR, "", error.what() + hint};
    }
    return std::nullopt;
}

EarlyEnd CCommandLine::missing(const char* pWhat) const
{
    return {EXIT_FILE_ERROR, "", pWhat + usageHint()};
}

std::string CCommandLine::usageHint() const
{
    return std::string(" (") + (m_name == "h265ps" ? "" : m_name + " ") + "--help shows the usage)";
}

} // namespace h265ps
