// What an effect offers its parameter object so that a change which needs new
// memory takes it on the thread that sets the parameter, never in the block
// that applies the change. The parameter object calls PrepareForChange after
// it has stored such a value; the effect takes and clears what the stored
// values will need and keeps it aside, and its next ProcessBlock only swaps
// it in. Memory let go by that swap is freed at the next PrepareForChange or
// at Shutdown. Callers keep setters and ProcessBlock apart (the front end's
// lock does that), so the call never meets a running block.
#pragma once

class IOvChangePreparer {
public:
    virtual void PrepareForChange() = 0;

protected:
    ~IOvChangePreparer() = default;
};
