#pragma once
// The designing and loading flags every component carries. A component class derives from its
// Qt base and from TComponentState; the form reader (or a test) brackets property assignment
// with BeginLoading()/EndLoading(), and EndLoading() calls Loaded(), where a component saved as
// active starts its work.

#include "wn_export.h"

namespace wn {

class WN_EXPORT TComponentState
{
public:
    virtual ~TComponentState() = default;

    bool Designing() const { return FDesigning; }
    bool LoadingState() const { return FLoading; }
    // Set by the form-designer plugin: the component only shows itself, it does no work.
    void SetDesigning(bool value) { FDesigning = value; }

    void BeginLoading() { FLoading = true; }
    void EndLoading()
    {
        FLoading = false;
        Loaded();
    }

protected:
    virtual void Loaded() {}

private:
    bool FDesigning = false;
    bool FLoading = false;
};

} // namespace wn
