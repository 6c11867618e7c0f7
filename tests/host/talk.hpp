#pragma once

#include <string>

/// How a host program talks with the test that started it: line by line, on standard output how far it is, on standard
/// input when to go on.
namespace host {

void say(const std::string& line);
/// Waits for a line from the test, or for its end.
void waitForTest();
/// Says that the process is about to end, and when.
void announceEnd();
/// Ends the process in that way; gives control back if that is by a return from `main`.
void end(const std::string& way);

}  // namespace host
