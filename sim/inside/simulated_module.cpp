#include "sim/inside/simulated_module.h"

#include <utility>

#include "sim/scenario/line_text.h"

void simulated_module::set_answer(const module_answer &answer) {
    answers_[answer.command] = answer;
}

void simulated_module::set_silence(const std::string &command) {
    answers_[command] = {.command = command, .bytes = {}};
}

std::vector<std::string> simulated_module::receive(std::string_view bytes) {
    std::vector<std::string> commands;
    for (const char c : bytes) {
        if (c != '\r' && c != '\n') {
            partial_ += c;
        } else if (!partial_.empty()) {
            commands.push_back(std::exchange(partial_, {}));
            waiting_.push_back(commands.back());
        }
    }
    return commands;
}

void simulated_module::begin_reply(clock::time_point now) {
    while (!current_ && !waiting_.empty()) {
        const std::string command = std::move(waiting_.front());
        waiting_.pop_front();
        const auto answer = answers_.find(lower_case(command));
        const bool known = answer != answers_.end();
        if (known && answer->second.bytes.empty()) {
            continue;
        }
        if (echo_) {
            echoed_ += command + "\r\r\n";
        }
        current_ = known ? reply{answer->second.bytes, answer->second.torn, now + answer->second.delay}
                         : reply{"\r\nERROR\r\n", 0, now};
    }
}

std::optional<simulated_module::clock::time_point> simulated_module::next_time(clock::time_point now) {
    begin_reply(now);
    if (!echoed_.empty()) {
        return now;
    }
    return current_ ? std::optional(current_->due) : std::nullopt;
}

std::string simulated_module::next_output(clock::time_point now) {
    // Long enough that the reader wakes up between two pieces, short enough for an answer in pieces of one byte.
    constexpr auto PAUSE = std::chrono::milliseconds(5);

    begin_reply(now);
    if (!echoed_.empty()) {
        return std::exchange(echoed_, {});
    }
    if (!current_ || current_->due > now) {
        return {};
    }
    if (current_->torn == 0 || current_->torn >= current_->bytes.size()) {
        return std::exchange(current_, std::nullopt)->bytes;
    }
    std::string piece = current_->bytes.substr(0, current_->torn);
    current_->bytes.erase(0, current_->torn);
    current_->due = now + PAUSE;
    return piece;
}

void simulated_module::forget() {
    partial_.clear();
    waiting_.clear();
    echoed_.clear();
    current_.reset();
}
