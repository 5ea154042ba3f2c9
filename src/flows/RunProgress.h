#pragma once
// The progress bar of a run. It counts files, not bytes; a position above
// the range shows as a full bar. Every call returns once the bar shows it.
namespace kau {

class RunProgress {
public:
    virtual ~RunProgress() = default;
    virtual void SetRange(int lower, int upper) = 0;
    virtual void SetPosition(int position) = 0;
};

} // namespace kau
