// What a page says, as one text.
#pragma once

#include <string>
#include <vector>

#include "tools/zelt_top/layout.h"
#include "tools/zelt_top/memory.h"

namespace samples {

inline std::string text_of(const std::vector<zelt_top::line> &lines) {
    std::string text;
    for (const zelt_top::line &one : lines) {
        text += one.plain_text() + '\n';
    }
    return text;
}

inline std::string page_of(const view::picture &known, const zelt_top::page &on = {}) {
    return text_of(lay_out(known, zelt_top::memory(), on));
}

}  // namespace samples
