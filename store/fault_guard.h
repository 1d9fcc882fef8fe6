// Calls into LMDB that come back whatever the mapped files do meanwhile. LMDB reads through mappings: when somebody
// cuts a file short, the next access is SIGBUS; when somebody scribbles over it, SIGSEGV or a failed assertion of LMDB.
// The guard leaves the call by a jump, and the caller gets a code. It is the belt; page_check is the braces. Knows no
// file and no key. Never logs, never blocks; the first guarded call of the process sets handlers of SIGSEGV and SIGBUS,
// the others take no system call.
//
// The jump skips destructors. So a guarded call holds calls of LMDB and copies into memory made before, nothing else:
//
//     MDB_val name = ..., data = {};
//     int result = guarded_call([&] { return mdb_get(txn, database, &name, &data); });
//     if (result == 0) {
//         std::string bytes(data.mv_size, '\0');              // outside; the check has bounded the size
//         result = guarded_copy(bytes.data(), data.mv_data, bytes.size());  // these bytes lie in the mapping too
//     }
//
// After SYSDB_FAULT the environment is not what LMDB believes it to be:
//   - a transaction that reads may still be aborted and its environment closed, both in guarded calls;
//   - of one that writes nothing may be touched any more, neither transaction nor environment: LMDB's lists point into
//     the stack that was left. They are abandoned: some memory, 3 descriptors, and LMDB's lock on the old lock.mdb
//     until the process ends. Whoever goes on writing removes the files' names first and makes them anew.
//
// A fault outside of a guarded call, of another thread, or sent by kill() does what it did before the guard.
#pragma once

#include <cstddef>
#include <type_traits>

struct MDB_env;

// Outside of the ranges of errno and of LMDB's codes.
inline constexpr int SYSDB_FAULT = -2;

// For mdb_env_set_assert(), directly behind mdb_env_create(): a failed assertion inside of a guarded call is
// SYSDB_FAULT.
void leave_at_assertion(MDB_env *env, const char *text);

// What call(context) returns, or SYSDB_FAULT. May nest; the innermost is left.
int run_guarded(int (*call)(void *context) noexcept, void *context);

// For the handler of a signal that is to end a wait inside of LMDB, such as a timer's: leaves the guarded call that
// runs in this thread, which then returns result. Comes back only where none runs. Safe in a handler; the call must be
// one that can be left at any instruction, as mdb_txn_begin() of a writer can until it has the lock.
void leave_guarded_call(int result);

template <typename Call>
int guarded_call(Call call) {
    static_assert(std::is_trivially_destructible_v<Call>, "capture by reference: a jump skips destructors");
    return run_guarded([](void *context) noexcept -> int { return (*static_cast<Call *>(context))(); }, &call);
}

// Out of a mapping. 0 or SYSDB_FAULT.
int guarded_copy(void *to, const void *from, std::size_t bytes);
