// Playing a scenario from its first step until nothing is outstanding.

#include "tools/player.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <stdexcept>

#include "harvelstone/document/DocumentManager.hpp"
#include "harvelstone/platform/Exception.hpp"
#include "harvelstone/services/BSDebugger.hpp"

#include "tools/main_queue.hpp"
#include "tools/step_actions.hpp"

namespace harvelstone::tools {

namespace {

/// The step that must raise did not.
class NotRaised final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

void perform(const Step& step, const AppMachine& machine);

void performExpectingRaise(const Step& step, const AppMachine& machine) {
    try {
        perform(step, machine);
    } catch (const platform::Exception& exception) {
        BSDebugger::log(exception.reason());
        return;
    }
    throw NotRaised(fmt::format("{} did not raise", step.name));
}

/// The debug log of a played app is on, whatever its settings say.
class KeepDebugLogOn {
  public:
    KeepDebugLogOn() = default;
    ~KeepDebugLogOn() { BSDebugger::setEnabled(/*enabled=*/true); }
    KeepDebugLogOn(const KeepDebugLogOn&) = delete;
    KeepDebugLogOn& operator=(const KeepDebugLogOn&) = delete;
};

void perform(const Step& step, const AppMachine& machine) {
    const KeepDebugLogOn keepDebugLogOn;
    if (!step.inner.empty()) return performExpectingRaise(step.inner.front(), machine);
    if (!step.onlySets) DocumentManager::sharedInstance();
    stepAction(step.name)(step, machine);
}

/// What went wrong, if something did.
template <typename Piece>
std::optional<std::string> failureOf(const std::string& place, const std::string& name, Piece piece) {
    try {
        piece();
        return std::nullopt;
    } catch (const platform::Exception& exception) {
        auto failure = fmt::format("{}: {} raised: {}", place, name, exception.reason());
        BSDebugger::log(failure);
        return failure;
    } catch (const std::exception& exception) {
        return fmt::format("{}: {}: {}", place, name, exception.what());
    }
}

}  // namespace

PlayOutcome playScenario(const Scenario& scenario, const AppMachine& machine, const StepObserver& observer) {
    PlayOutcome outcome;
    bool isStarted = false;
    for (const auto& step : scenario.steps) {
        if (observer) observer(step, outcome.stepsPlayed);
        isStarted = isStarted || !step.onlySets;
        outcome.failure = failureOf(step.place.text(), step.name, [&] { perform(step, machine); });
        if (outcome.failure) break;
        ++outcome.stepsPlayed;
    }
    if (!isStarted && !outcome.failure) {
        outcome.failure = failureOf(scenario.file, "the start", [] { DocumentManager::sharedInstance(); });
    }
    settle();
    return outcome;
}

}  // namespace harvelstone::tools
