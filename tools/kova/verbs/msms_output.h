#pragma once

#include "kova/run/msms_reader.h"

namespace kova_tool {

// Where MS/MS spectra go, one by one.
class MsmsOutput {
public:
    virtual ~MsmsOutput() = default;
    // Returns whether to go on: not when nobody reads any more.
    virtual bool add(const MsmsSpectrum& spectrum) = 0;
    virtual void end() = 0;
};

}  // namespace kova_tool
