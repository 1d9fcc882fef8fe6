// The page for somebody who turns an antenna: strength and quality in large digits, and the best of them so far.
// Pure: knows no terminal; never logs.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/zelt_top/layout.h"
#include "view/picture.h"

namespace zelt_top {

// From when the page was opened. A leg that comes and goes keeps its best.
class best_signals {
public:
    // True when the strength of a leg is better than it ever was; its first value is no improvement.
    bool note(const view::picture &known);
    std::optional<double> of(const view::leg &one, view::quantity what) const;

private:
    std::map<std::string, double> best_;
};

// Small windows get plain numbers.
std::vector<line> lay_out_antenna(const view::picture &known, const best_signals &best, const page &on);

}  // namespace zelt_top
