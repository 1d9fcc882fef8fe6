// The cell module: its models, the AT port, the typed AT queries and the QMI command-line tool.
//
// Every exchange blocks until its answer is complete, the library gives up, or stop_libzelt_funcs() was called.
// Nothing here takes the port's lock file and nothing here logs.
//
// Known of the device's library: the names, the arguments and the meaning of the results given below; of the models,
// what the numbers 0, 2, 3, 5 and 6 mean.
// Assumed by this project: the names given to the models; that stop_libzelt_funcs() is safe in a signal handler and
// holds for the rest of the process; that an exchange ends by itself when the module stays silent, that buffers always
// hold a NUL-terminated text afterwards (empty without an answer), that everything fails on a descriptor that is not
// open (SER_PORT_CLOSED where that is a result), that no exception leaves the typed queries, and that the two last
// arguments of the exchanges, which the daemon passes as 1 and 1, need no other value.
#pragma once

#include <string>

// The values on which the daemon relies; the library may return others, which count as 4G modules.
enum module_model : int {
    MODULE_UNKNOWN = 0,
    MODULE_BG96 = 1,
    MODULE_EC21 = 2,  // 2 and 3 get the health check
    MODULE_EC25 = 3,
    MODULE_RM50X = 5,  // 5 and 6 answer the serving-cell query with several lines
    MODULE_RM52X = 6,  // its MTU is always 1500
};

// The model for a name such as "EC25"; MODULE_UNKNOWN for a name that the library does not know.
module_model get_module_model_from_config_string(const char *name);

// Makes the operations in progress end early, now and for the rest of the process: none that begins later succeeds.
// Async-signal-safe: the daemon calls it from its signal handler.
void stop_libzelt_funcs();

// Opens the serial device for AT use. The descriptor belongs to the caller until ser_close; negative on failure.
int ser_open(const char *device);
void ser_close(int fd);

// Results of ser_write_and_wait_for_txt_get_line; any other value: the answer ended without the line.
inline constexpr unsigned int SER_PORT_CLOSED = 0;
inline constexpr unsigned int SER_LINE_FOUND = 1;

// Writes command (with its trailing "\r") and reads until the answer line that begins with texts[0] came (it is
// copied into buffer, cut to buffer_size - 1 characters), or one of the other texts ended the answer.
unsigned int ser_write_and_wait_for_txt_get_line(int fd, const char *command, const std::string *texts,
                                                 unsigned int text_count, char *buffer, unsigned int buffer_size,
                                                 unsigned int, unsigned int);

// A result of ser_write_and_get_all_response_until_searchtxt up to this one is a completed answer.
inline constexpr unsigned int SER_ANSWER_COMPLETE_MAX = 1;

// Writes command and collects the lines of the answer, the ending one included, into buffer (cut to
// buffer_size - 1 characters) until one of the texts ends it. 0 or 1: completed; greater: a failed exchange.
unsigned int ser_write_and_get_all_response_until_searchtxt(int fd, const char *command, const std::string *texts,
                                                            unsigned int text_count, char *buffer,
                                                            unsigned int buffer_size, unsigned int, unsigned int);

// 0 on success, with both flags stored. Otherwise a failure; the flags may have been changed all the same.
int zelt_at_cmd_get_registration_and_roaming(int fd, bool *registered, bool *roaming);

// Fill buffer with a text of at most size - 1 characters. Positive on success; 0 (an empty answer) or negative
// on failure, and then nothing in buffer counts.
int zelt_at_cmd_get_carrier_name(int fd, char *buffer, unsigned int size);
int zelt_at_cmd_get_imsi(int fd, char *buffer, unsigned int size);
int zelt_at_cmd_get_mdn(int fd, char *buffer, unsigned int size);
int zelt_at_cmd_get_cfun(int fd, char *buffer, unsigned int size);  // decimal functionality level, 27.007 +CFUN

// The module forgets its settings; 0 on success (assumed: the daemon does not use the result).
int zelt_at_cmd_restore_factory_settings(int fd);

// Runs the QMI tool with the given arguments on the module's control device "/dev/cdc-wdm0" and stores its text
// output, cut to size - 1 characters. The length of what is stored, negative on failure; a size of 0 is one (assumed).
int run_qmicli_and_get_result(const char *arguments, char *output, int size);
