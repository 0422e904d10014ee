// Calls that must not hang: each runs on a thread of its own while the test
// waits for it with a deadline. A call still running at its deadline fails the
// test and ends the process at once (the hung thread cannot be joined), with
// a message naming the call.
#pragma once

#include <functional>

namespace tavtest {

// Runs `call` and waits for it up to `seconds`; ends the process with exit
// code 3 and a message naming `what` when it does not return in time.
void FinishWithin(double seconds, const char* what, const std::function<void()>& call);

}  // namespace tavtest
