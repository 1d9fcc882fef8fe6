#include "sim/scenario/scenario.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

// What holds between statements.
class builder {
public:
    explicit builder(parser &in) : in_(in) {}

    void add_comment(std::string_view text) {
        if (story_.summary.empty()) {
            text.remove_prefix(std::min(text.find_first_not_of("# "), text.size()));
            story_.summary = text;
        }
    }

    void add(const statement_form &form) {
        statement_content what = form.read(in_);
        std::visit([this, &form](const auto &one) { check(form.kind, one); }, what);
        if (const auto *module = std::get_if<module_name>(&what)) {
            story_.module = module->name;
        } else {
            story_.steps.push_back({std::move(what), in_.line()});
        }
    }

    scenario take() { return std::move(story_); }

private:
    void check(statement_kind /*frame*/, const module_name & /*name*/) {
        if (std::exchange(has_module_, true) || runs_) {
            in_.fail("module once, before the first at or after");
        }
    }

    void check(statement_kind /*frame*/, const at_time &at) {
        if (at.time < latest_time_) {
            in_.fail("a time that is not before the last one");
        }
        latest_time_ = at.time;
        begin(at.time > scenario_time(0));
    }

    void check(statement_kind /*frame*/, const after_cycle &after) {
        if (after.cycle <= latest_cycle_) {
            in_.fail("the number of a cycle after " + std::to_string(latest_cycle_));
        }
        latest_cycle_ = after.cycle;
        begin(true);
    }

    void check(statement_kind /*frame*/, const after_exit & /*exit*/) { begin(false); }

    void check(statement_kind kind, const action & /*what*/) {
        if (ended_ && kind != statement_kind::expectation) {
            in_.fail("nothing but expectations behind end");
        }
        if (repeats_) {
            in_.fail("nothing behind repeat");
        }
        if (kind == statement_kind::repeat && !takes_time_) {
            in_.fail("a later at, or after cycle, before repeat: the table would take no time");
        }
        if (!runs_ && kind != statement_kind::anywhere) {
            in_.fail("at or after before this statement: the daemon does not run yet");
        }
        ended_ = ended_ || kind == statement_kind::end;
        repeats_ = kind == statement_kind::repeat;
    }

    void begin(bool takes_time) {
        if (ended_ || repeats_) {
            in_.fail("nothing of this kind behind end or repeat");
        }
        runs_ = true;
        takes_time_ = takes_time_ || takes_time;
    }

    parser &in_;
    scenario story_;
    scenario_time latest_time_{0};
    unsigned int latest_cycle_ = 0;
    bool has_module_ = false;
    bool runs_ = false;  // behind the first at or after
    bool takes_time_ = false;
    bool ended_ = false;
    bool repeats_ = false;
};

void read_statement(parser &in, builder &story, const std::string &word) {
    const auto language = all_statements();
    const auto form = std::ranges::find(language, word, &statement_form::word);
    if (form != language.end()) {
        story.add(*form);
        in.end_of_line(form->usage);
        return;
    }
    if (word.starts_with('|')) {
        in.fail("a statement that takes a block before this line");
    }
    std::string known;
    for (const statement_form &one : language) {
        known += (known.empty() ? "" : ", ") + std::string(one.word());
    }
    in.fail("a statement, found \"" + word + "\"; statements are " + known);
}

}  // namespace

std::vector<statement_form> all_statements() {
    std::vector<statement_form> all;
    for (const auto part : {module_statements(), time_statements(), router_statements(), expect_statements()}) {
        std::ranges::copy(part, std::back_inserter(all));
    }
    return all;
}

scenario parse_scenario(std::string_view text, const std::string &name) {
    parser in(text, name);
    builder story(in);
    while (in.next_line()) {
        const std::string word = in.word();
        if (word.starts_with('#')) {
            story.add_comment(word + " " + std::string(in.take_rest()));
        } else if (!word.empty()) {
            read_statement(in, story, word);
        }
    }
    return story.take();
}
