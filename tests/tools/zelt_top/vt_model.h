// What a terminal of the vt100 and xterm families would show: enough of it to read a page that a program has drawn.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

class vt_model {
public:
    vt_model(std::size_t columns, std::size_t rows);

    void feed(const std::string &bytes);
    void resize(std::size_t columns, std::size_t rows);

    std::string row(std::size_t index) const;  // without blanks at its end
    std::string page() const;                  // the rows, each with a line feed
    bool cursor_visible() const { return cursor_visible_; }
    bool other_page() const { return other_page_; }  // the one that programs use, beside the shell's
    bool coloured() const { return coloured_; }      // a colour was ever asked for
    bool torn() const { return torn_; }              // something was written outside the page

private:
    void take(char byte);
    void control(char byte);
    bool in_escape() const { return !pending_.empty() && pending_.front() == '\x1b'; }
    void escape(char byte);
    void sequence(char last);
    void move(char last);
    void mode(bool on);
    void put(const std::string &character);
    void erase(std::size_t row, std::size_t from, std::size_t to);
    std::size_t argument(std::size_t index, std::size_t otherwise) const;

    std::vector<std::vector<std::string>> cells_;
    std::size_t row_ = 0;
    std::size_t column_ = 0;
    std::string pending_;  // an escape sequence or a character that is not complete
    std::string last_;     // for the sequence that repeats it
    bool cursor_visible_ = true;
    bool other_page_ = false;
    bool coloured_ = false;
    bool torn_ = false;
};
