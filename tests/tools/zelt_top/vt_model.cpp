#include "tests/tools/zelt_top/vt_model.h"

namespace {

VTermRect row_of(VTerm *terminal, int row) {
    VTermRect found{.start_row = row, .end_row = row + 1, .start_col = 0, .end_col = 0};
    int rows = 0;
    vterm_get_size(terminal, &rows, &found.end_col);
    return found;
}

int rows_of(VTerm *terminal) {
    int rows = 0;
    int columns = 0;
    vterm_get_size(terminal, &rows, &columns);
    return rows;
}

}  // namespace

vt_model::vt_model(std::size_t columns, std::size_t rows)
    : terminal_(vterm_new(static_cast<int>(rows), static_cast<int>(columns)), vterm_free),
      screen_(vterm_obtain_screen(terminal_.get())) {
    vterm_set_utf8(terminal_.get(), 1);
    vterm_screen_enable_altscreen(screen_, 1);
    callbacks_.moverect = note_scroll;
    callbacks_.settermprop = note_property;
    vterm_screen_set_callbacks(screen_, &callbacks_, &seen_);
    vterm_screen_reset(screen_, 1);
}

int vt_model::note_property(VTermProp property, VTermValue *value, void *seen) {
    auto *const notes = static_cast<observations *>(seen);
    if (property == VTERM_PROP_CURSORVISIBLE) {
        notes->cursor_visible = value->boolean != 0;
    } else if (property == VTERM_PROP_ALTSCREEN) {
        notes->other_page = value->boolean != 0;
    }
    return 1;
}

int vt_model::note_scroll(VTermRect /*to*/, VTermRect /*from*/, void *seen) {
    static_cast<observations *>(seen)->scrolled = true;
    return 0;  // redrawn as any other change
}

void vt_model::resize(std::size_t columns, std::size_t rows) {
    vterm_set_size(terminal_.get(), static_cast<int>(rows), static_cast<int>(columns));
}

std::string vt_model::row(std::size_t index) const {
    const VTermRect whole = row_of(terminal_.get(), static_cast<int>(index));
    constexpr std::size_t LONGEST_CHARACTER = std::size_t{4} * VTERM_MAX_CHARS_PER_CELL;
    std::string text(static_cast<std::size_t>(whole.end_col) * LONGEST_CHARACTER, ' ');
    text.resize(vterm_screen_get_text(screen_, text.data(), text.size(), whole));
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

std::string vt_model::page() const {
    std::string text;
    for (int i = 0; i < rows_of(terminal_.get()); ++i) {
        text += row(static_cast<std::size_t>(i)) + '\n';
    }
    return text;
}

bool vt_model::coloured() const {
    for (int row = 0; row < rows_of(terminal_.get()); ++row) {
        for (VTermPos at{.row = row, .col = 0}; at.col < row_of(terminal_.get(), row).end_col; ++at.col) {
            VTermScreenCell cell{};
            vterm_screen_get_cell(screen_, at, &cell);
            if (!VTERM_COLOR_IS_DEFAULT_FG(&cell.fg)) {
                return true;
            }
        }
    }
    return false;
}
