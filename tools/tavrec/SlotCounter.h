// Counts the movie's frame slots as the DLL fills them, so that tavrec's
// summary says what the file holds: every frame handed in takes one slot; a
// gap before it leaves slots empty unless a planned break came first.
//
// By frame number a gap of k missing numbers leaves k slots empty. By capture
// time the DLL counts a frame that is late by more than half a frame as
// (lateness + half a frame) / frame duration + 1 empty slots: one more than
// the frames that were left out.
#pragma once

namespace tavrec {

class SlotCounter {
 public:
  // frameDuration in 100 ns units, as the DLL truncates 10,000,000 / fps.
  explicit SlotCounter(long long frameDuration) : duration_(frameDuration) {}

  void Break() { breakPending_ = true; }
  // A frame handed in by number (byNumber) or by capture time.
  void Frame(bool byNumber, long long number, long long time);

  long long handed() const { return handed_; }
  long long emptySlots() const { return empty_; }
  long long slots() const { return handed_ + empty_; }

 private:
  long long duration_;
  long long handed_ = 0, empty_ = 0;
  long long counted_ = 0;  // slots counted by the DLL, planned breaks included
  long long firstTime_ = 0, lastNumber_ = 0;
  bool breakPending_ = false;
};

}  // namespace tavrec
