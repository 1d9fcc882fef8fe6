// Files that something has gone wrong with, one after the other from a fixed seed: nothing of ours dies by a signal,
// and what the check lets through LMDB can read and write. ZELT_DAMAGES in the environment says how many.
#include <array>
#include <cstdlib>
#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/store/damage.h"
#include "tests/store/whole_use.h"

namespace {

using whole_use::outcome;

const whole_use::writes CELL_WRITES = {{"CELL_KEY_1", "snew"}, {"CELL_KEY_2", ""}, {"N", std::string(9000, 'n')}};
const whole_use::writes LOG_WRITES = {{"LOG_ENTRY_0", ""}, {"LOG_ENTRY_5", ""}, {"Z", "sz"}};

std::size_t number_of_damages() {
    const char *text = std::getenv("ZELT_DAMAGES");
    return text == nullptr ? 400 : std::strtoul(text, nullptr, 10);
}

// What the processes count together.
struct counts {
    std::size_t damage;  // the one at hand
    std::size_t refused;
    std::size_t read;
    std::size_t written;
    std::size_t faults;    // that the guard met where the check had let them through
    std::size_t refusals;  // by LMDB of what the check had let through
    std::size_t broken;    // by writing
};

counts *shared_counts() {
    void *memory = mmap(nullptr, sizeof(counts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return new (memory) counts{};
}

void count(const outcome &all, std::size_t counts::*good, counts &into) {
    const bool is_fine = all.of_check == 0 && all.of_use == 0;
    into.refused += all.of_check != 0 ? 1 : 0;
    into.*good += is_fine ? 1 : 0;
    into.faults += all.of_use == SYSDB_FAULT ? 1 : 0;
    into.refusals += all.of_use != SYSDB_FAULT && !can_be_written(all) ? 1 : 0;
    into.broken += all.of_check_behind != 0 ? 1 : 0;
}

void use(const std::string &bytes, const std::string &folder, counts &into) {
    std::ofstream(folder + "/data.mdb", std::ios::binary) << bytes;
    unlink((folder + "/lock.mdb").c_str());
    whole_use::pairs found;
    count(whole_use::read_checked(folder, &found), &counts::read, into);
    count(whole_use::write_checked(folder, "CELL", CELL_WRITES), &counts::written, into);
    count(whole_use::write_checked(folder, "LOG", LOG_WRITES), &counts::written, into);
}

const std::array<std::string, 2> &samples() {
    static const std::array<std::string, 2> bytes = {damage::bytes_of(damage::write_daemons),
                                                     damage::bytes_of(damage::write_everybodys)};
    return bytes;
}

void use_damage(std::size_t number, const std::string &folder, counts &into) {
    damage::random_numbers random(number);
    into.damage = number;
    use(damage::damaged(samples().at(number % 2), random), folder, into);
}

// The wait status of a process that does this. One that never ends is as bad as one that dies.
template <typename Body>
int status_of(Body body) {
    const pid_t child = fork();
    if (child == 0) {
        const rlimit no_core = {0, 0};
        setrlimit(RLIMIT_CORE, &no_core);
        alarm(100);
        body();
        _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

// From the first to before the end, in a process of its own.
int use_damages(std::size_t first, std::size_t end, counts &into) {
    const temporary_folder folder;
    return status_of([&] {
        for (std::size_t number = first; number < end; ++number) {
            use_damage(number, folder.path(), into);
        }
    });
}

TEST(damaged_database, nothing_dies_of_it_and_what_the_check_lets_through_can_be_used) {
    constexpr std::size_t AT_ONCE = 50;
    counts &all = *shared_counts();
    samples();
    for (std::size_t first = 0, end = number_of_damages(); first < end;) {
        const int status = use_damages(first, std::min(first + AT_ONCE, end), all);
        EXPECT_EQ(status, 0) << "wait status behind damage " << all.damage;
        first = status == 0 ? first + AT_ONCE : all.damage + 1;
    }
    EXPECT_EQ(all.faults, 0U);
    EXPECT_EQ(all.refusals, 0U);
    EXPECT_EQ(all.broken, 0U);
    EXPECT_GT(all.refused, number_of_damages() / 2) << "most damage shows";
    EXPECT_GT(all.read, number_of_damages() / 20) << "some hits nothing that is used";
    EXPECT_GT(all.written, number_of_damages() / 20);
    std::printf("%zu uses refused, %zu read, %zu written\n", all.refused, all.read, all.written);
}

TEST(damaged_database, a_file_cut_short_behind_the_check_ends_the_use_and_not_the_process) {
    counts &all = *shared_counts();
    const std::size_t pages = samples()[1].size() / damage::PAGE;
    for (std::size_t left = 0; left < pages; ++left) {
        const temporary_folder folder;
        const std::string file = folder.write("data.mdb", samples()[1]);
        const auto cut = [&] { EXPECT_EQ(truncate(file.c_str(), static_cast<off_t>(left * damage::PAGE)), 0); };
        EXPECT_EQ(status_of([&] {
                      whole_use::pairs found;
                      count(whole_use::read_checked(folder.path(), &found, cut), &counts::read, all);
                      EXPECT_EQ(whole_use::read_checked(folder.path(), &found).of_use, 0) << "the next one is told";
                  }),
                  0)
            << "reading with " << left << " pages left";
        folder.write("data.mdb", samples()[1]);
        EXPECT_EQ(status_of([&] {
                      count(whole_use::write_checked(folder.path(), "CELL", CELL_WRITES, cut), &counts::written, all);
                  }),
                  0)
            << "writing with " << left << " pages left";
    }
    EXPECT_GT(all.faults, pages) << "the guard was needed";
}

TEST(damaged_database, a_file_written_over_behind_the_check_ends_the_reading_and_not_the_process) {
    counts &all = *shared_counts();
    for (std::size_t number = 0; number < number_of_damages() / 4; ++number) {
        damage::random_numbers random(number);
        const temporary_folder folder;
        const std::string file = folder.write("data.mdb", samples()[1]);
        EXPECT_EQ(status_of([&] {
                      whole_use::pairs found;
                      const auto write_over = [&] {
                          const std::string bytes = damage::damaged(samples()[1], random);
                          const descriptor fd(open(file.c_str(), O_WRONLY));
                          EXPECT_EQ(pwrite(fd.get(), bytes.data(), bytes.size(), 0),
                                    static_cast<ssize_t>(bytes.size()));
                      };
                      count(whole_use::read_checked(folder.path(), &found, write_over), &counts::read, all);
                  }),
                  0)
            << "damage " << number;
    }
    EXPECT_EQ(all.refused, 0U);
    EXPECT_GT(all.read, 0U);
}

}  // namespace
