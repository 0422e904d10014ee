#include "SlotCounter.h"

namespace tavrec {

void SlotCounter::Frame(bool byNumber, long long number, long long time) {
  long long gap = 0;
  if (handed_ == 0) {
    firstTime_ = time;
  } else if (byNumber) {
    if (number - lastNumber_ > 1) gap = number - lastNumber_ - 1;
  } else {
    const long long offset = time - firstTime_;
    if (offset > duration_ / 2 + counted_ * duration_)
      gap = (offset + duration_ / 2 - counted_ * duration_) / duration_ + 1;
  }
  counted_ += gap + 1;
  // A planned break takes the next gap: counted, but no slot left empty.
  if (gap > 0 && breakPending_) gap = 0, breakPending_ = false;
  empty_ += gap;
  ++handed_;
  lastNumber_ = number;
}

}  // namespace tavrec
