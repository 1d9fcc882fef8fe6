#include "tests/tools/zelt_top/vt_model.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

vt_model::vt_model(std::size_t columns, std::size_t rows) {
    resize(columns, rows);
}

void vt_model::resize(std::size_t columns, std::size_t rows) {
    cells_.resize(rows);
    for (std::vector<std::string> &line : cells_) {
        line.resize(columns, " ");
    }
    row_ = std::min(row_, rows - 1);
    column_ = std::min(column_, columns - 1);
}

std::string vt_model::row(std::size_t index) const {
    std::string text;
    for (const std::string &cell : cells_.at(index)) {
        text += cell;
    }
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

std::string vt_model::page() const {
    std::string text;
    for (std::size_t i = 0; i < cells_.size(); ++i) {
        text += row(i) + '\n';
    }
    return text;
}

void vt_model::feed(const std::string &bytes) {
    for (const char byte : bytes) {
        take(byte);
    }
}

// Two bytes for keypad modes and the like, three for character sets, and the sequences behind "[", which end in a
// letter.
void vt_model::escape(char byte) {
    pending_ += byte;
    const char kind = pending_[1];
    const bool sequence_ends = kind == '[' && pending_.size() > 2 && byte >= '@' && byte <= '~';
    if (sequence_ends) {
        sequence(byte);
    }
    const std::size_t length = kind == '(' || kind == ')' ? 3 : 2;
    if (sequence_ends || (kind != '[' && pending_.size() == length)) {
        pending_.clear();
    }
}

void vt_model::take(char byte) {
    const auto code = static_cast<unsigned char>(byte);
    if (in_escape()) {
        escape(byte);
    } else if (byte == '\x1b' || code >= 0xc0) {
        pending_ = byte;
    } else if (code >= 0x80) {
        pending_ += byte;
        const auto lead = static_cast<unsigned char>(pending_.front());
        if (pending_.size() == (lead >= 0xf0 ? 4U : lead >= 0xe0 ? 3U : 2U)) {
            put(pending_);
            pending_.clear();
        }
    } else if (code < 0x20) {
        control(byte);
    } else {
        put(std::string(1, byte));
    }
}

void vt_model::control(char byte) {
    if (byte == '\r') {
        column_ = 0;
    } else if (byte == '\n') {
        torn_ = torn_ || row_ + 1 == cells_.size();  // it would scroll the page away
        row_ = std::min(row_ + 1, cells_.size() - 1);
    } else if (byte == '\b' && column_ > 0) {
        --column_;
    } else if (byte == '\t') {
        column_ = std::min(column_ / 8 * 8 + 8, cells_.front().size() - 1);
    }
}

void vt_model::put(const std::string &character) {
    if (column_ >= cells_.front().size()) {  // written past the margin: wraps, as these terminals do
        column_ = 0;
        torn_ = torn_ || row_ + 1 == cells_.size();
        row_ = std::min(row_ + 1, cells_.size() - 1);
    }
    cells_.at(row_).at(column_++) = character;
    last_ = character;
}

void vt_model::erase(std::size_t row, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < std::min(to, cells_.at(row).size()); ++i) {
        cells_.at(row).at(i) = std::string(1, ' ');
    }
}

std::size_t vt_model::argument(std::size_t index, std::size_t otherwise) const {
    std::istringstream text(pending_.substr(2));
    std::string one;
    for (std::size_t i = 0; i <= index; ++i) {
        if (!std::getline(text, one, ';')) {
            return otherwise;
        }
    }
    const std::size_t number = std::strtoul(one.c_str(), nullptr, 10);
    return number == 0 ? otherwise : number;
}

void vt_model::move(char last) {
    const std::size_t columns = cells_.front().size();
    const std::size_t rows = cells_.size();
    const std::size_t by = argument(0, 1);
    if (last == 'H') {
        torn_ = torn_ || by > rows || argument(1, 1) > columns;
        row_ = std::min(by, rows) - 1;
        column_ = std::min(argument(1, 1), columns) - 1;
    } else if (last == 'A') {
        row_ -= std::min(row_, by);
    } else if (last == 'B') {
        row_ = std::min(row_ + by, rows - 1);
    } else if (last == 'C') {
        column_ = std::min(column_ + by, columns - 1);
    } else if (last == 'D') {
        column_ -= std::min(column_, by);
    } else if (last == 'G') {
        column_ = std::min(by, columns) - 1;
    } else if (last == 'd') {
        row_ = std::min(by, rows) - 1;
    }
}

void vt_model::mode(bool on) {
    if (pending_.find("?1049") != std::string::npos) {
        other_page_ = on;
    } else if (pending_.find("25") != std::string::npos && pending_[2] == '?') {
        cursor_visible_ = on;
    }
}

void vt_model::sequence(char last) {
    const std::size_t columns = cells_.front().size();
    const std::size_t rows = cells_.size();
    const std::string again = last_;
    switch (last) {
    case 'X':
        erase(row_, column_, column_ + argument(0, 1));
        break;
    case 'b':
        for (std::size_t i = argument(0, 1); i > 0; --i) {
            put(again);
        }
        break;
    case 'K':
        erase(row_, argument(0, 0) == 1 ? 0 : column_, argument(0, 0) == 1 ? column_ + 1 : columns);
        break;
    case 'J':
        for (std::size_t i = argument(0, 0) == 2 ? 0 : row_; i < rows; ++i) {
            erase(i, i == row_ && argument(0, 0) != 2 ? column_ : 0, columns);
        }
        break;
    case 'm':
        for (std::size_t i = 0; i < 4; ++i) {
            coloured_ = coloured_ || (argument(i, 0) >= 30 && argument(i, 0) <= 38);
        }
        break;
    case 'h':
    case 'l':
        mode(last == 'h');
        break;
    default:
        move(last);
        break;
    }
}
