// Words of a command line, with a zero byte behind each, for the host or its client; patterns, and the texts of values.

#include "fuzz_input.h"
#include "hosts/tracehost/command_line.h"
#include "tools/tracectl/command_line.h"

#include <common/log/host/duration_text.h>
#include <common/log/host/name_pattern.h>
#include <common/log/host/state_text.h>

namespace {

using namespace common::log::host;
using common::log::fuzz::expect;
using Words = std::vector<std::string>;

template <typename CommandLine>
CommandLine parse(CommandLine (*parser)(int, char const * const *), Words const & words)
{
    std::vector<char const *> arguments{"program"};
    std::transform(words.begin(), words.end(), std::back_inserter(arguments), [](auto & word) { return word.c_str(); });
    CommandLine const parsed = parser(static_cast<int>(arguments.size()), arguments.data());
    expect(parsed.options.has_value() + !parsed.output.empty() + !parsed.error.empty() == 1,
           "it runs, tells or refuses", parsed.error);
    return parsed;
}

Words wordsOf(tracehost::Options const & options)
{
    return {"--period=" + durationText(options.period),
            "--warn-above=" + durationText(options.warnAbove),
            "--error-above=" + durationText(options.errorAbove),
            "--duration=" + (options.duration.count() == 0 ? "0" : durationText(options.duration)),
            "--priority=" + std::to_string(options.priority),
            "--ring=" + std::to_string(options.ringBytes)};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    std::string_view input(reinterpret_cast<char const *>(data), size);
    unsigned int const choice = common::log::fuzz::takeByte(input) % 16;
    Words words;
    while (!input.empty()) {
        words.push_back(common::log::fuzz::takeText(input, '\0'));
    }
    if (choice == 0) {
        tracehost::CommandLine const parsed = parse(&tracehost::parseCommandLine, words);
        expect(parsed.error.find('\n') == std::string::npos, "what is wrong stands in one line", parsed.error);
        Words const taken = wordsOf(parsed.options.value_or(tracehost::Options()));
        tracehost::CommandLine const again = parse(&tracehost::parseCommandLine, taken);
        expect(again.options && wordsOf(*again.options) == taken, "what was taken is taken again", again.error);
    } else if (choice == 1) {
        (void)parse(&tracectl::parseCommandLine, words);
    }
    for (std::string const & word : choice >= 2 ? words : Words()) {
        std::string const & pattern = words.front();
        bool const isMatch = matchesPattern(pattern, word);
        expect(matchesPattern("?*" + pattern, "x" + word) || !isMatch, "a pattern matches behind another", word);
        expect(isMatch || pattern != word, "a name matches itself, whatever stars it has", word);
        auto const duration = parseDuration(word);
        expect(!duration || parseDuration(durationText(*duration)) == duration, "a duration stays the same", word);
        auto const state = parseFlags(word);
        expect(!state || flagsText(*state).size() == word.size(), "flags stay the same", word);
    }
    return 0;
}
