#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace harvelstone::testing {

/// Waits for the condition, half a minute at most.
bool becomesTrue(const std::function<bool()>& condition);

/// How a process ended.
struct HostEnd {
    int status = -1;                                 ///< as waitpid tells it
    std::optional<std::chrono::microseconds> stall;  ///< from its "ending" line to its end

    bool isExit(int code) const;
    bool isSignal(int number) const;
};

/// A host program that the test started. It says lines on its standard output and is told to go on through its input.
/// What it writes on standard error is shown by the test.
class HostProcess {
  public:
    HostProcess(const std::string& program, const std::vector<std::string>& arguments);
    ~HostProcess();  ///< kills it, if it still runs
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;

    pid_t id() const { return process_; }
    /// The next line; empty when the process has ended or says nothing for half a minute.
    std::string nextLine();
    /// Whether it has said these, each in a line of its own and in this order, or says them before it is silent for
    /// half a minute. Of a program that says other things as well.
    bool hasSaid(const std::vector<std::string>& texts);
    void goOn();
    HostEnd waitForEnd();

    /// Whether the file is part of its memory.
    bool hasMapped(const std::string& file) const;
    int threadCount() const;
    /// How often its threads, or those of that name alone, gave the processor up of their own will.
    long voluntarySwitches(const std::string& threadName = "") const;

  private:
    pid_t process_ = -1;
    int toProcess_ = -1;
    int fromProcess_ = -1;
    std::string unread_;
    std::vector<std::string> said_;  ///< the lines read so far
};

}  // namespace harvelstone::testing
