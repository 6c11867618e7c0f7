// Any bytes as a scenario: every line becomes a step, or the first wrong one is named.

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/require.hpp"
#include "tools/exit_codes.hpp"
#include "tools/scenario.hpp"

namespace harvelstone::fuzz {
namespace {

/// Absent when the text is refused; the line that is to blame is in `wrongLine` then.
std::optional<std::vector<tools::Step>> stepsOf(const std::string& text, std::size_t& wrongLine) {
    try {
        return tools::parseScenario(text, "FILE").steps;
    } catch (const tools::WrongUse& wrongUse) {
        const std::string message = wrongUse.what();
        require(message.starts_with("FILE:"), "the message begins with the place");
        wrongLine = std::stoul(message.substr(std::string_view("FILE:").size()));
        return std::nullopt;
    }
}

bool isSame(const tools::Step& a, const tools::Step& b);

bool areSame(const std::vector<tools::Step>& a, const std::vector<tools::Step>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), isSame);
}

/// Wherever they stand.
bool isSame(const tools::Step& a, const tools::Step& b) {
    return a.name == b.name && a.arguments == b.arguments && a.profileValues == b.profileValues &&
           areSame(a.inner, b.inner) && a.onlySets == b.onlySets;
}

void checkSteps(const std::vector<tools::Step>& steps, std::size_t lines) {
    const auto names = tools::stepNames();
    std::size_t line = 0;
    for (const auto& step : steps) {
        require(std::find(names.begin(), names.end(), step.name) != names.end(), "every step is a known one");
        require(step.place.number > line && step.place.number <= lines, "the steps stand in the order of their lines");
        require(step.inner.size() == (step.name == "expectRaise" ? 1U : 0U), "one step alone holds another");
        line = step.place.number;
    }
}

}  // namespace
}  // namespace harvelstone::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace harvelstone::fuzz;
    const std::string text(textOf(data, size));
    const auto lines = 1 + static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    std::size_t wrongLine = 0;
    std::size_t wrongLineLater = 0;
    const auto steps = stepsOf(text, wrongLine);
    const auto later = stepsOf("# a comment\n\n" + text, wrongLineLater);
    require(steps.has_value() == later.has_value(), "a comment and a blank line change nothing");
    if (!steps) {
        require(wrongLine >= 1 && wrongLine <= lines, "the message names a line of the file");
        require(wrongLineLater == wrongLine + 2, "a comment and a blank line count as lines");
        return 0;
    }
    checkSteps(*steps, lines);
    require(areSame(*steps, *later), "a comment and a blank line change nothing");
    const auto twice = stepsOf(text + "\n" + text, wrongLine);
    require(twice && twice->size() == 2 * steps->size(), "a scenario may stand twice in a file");
    return 0;
}
