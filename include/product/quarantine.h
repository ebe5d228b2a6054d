// The product's end-user quarantine.
//
// Everything is kept in data/euq/euq.db below the install root, an SQLite database: switches,
// registration, the messages of all areas and the state of the two jobs. The functions that return
// int give 0 on success or a code of EuqResult, and a failure leaves one line in the log. Nothing
// throws. May be called from several threads and processes at once.
//
// Transfer and removal of the data are jobs: the start returns at once, and the work is done by a
// process of its own, bin/euqjob below the install root, which goes on when the console ends. A job
// that is killed leaves every message whole and in one place, and its result says so; the next
// start of the same job goes on with what is left. One job runs at a time, and what arrives after
// its start is not part of it. While it runs, data/euq/progress is one line, renewed a few times a
// second: "transfer" or "remove", messages done, messages in all.
//
// Settings read, section "euq": "busy_timeout" (milliseconds to wait for the database, 0 to 60000,
// default 5000), "batch" (messages in one transaction of a job, 1 to 100000, default 1000).
#ifndef VESK_PRODUCT_QUARANTINE_H
#define VESK_PRODUCT_QUARANTINE_H

#include <string>

enum EuqResult : int {
  EUQ_OK = 0,
  EUQ_NOT_READY = 1,       // init_euq_lib was not called or failed
  EUQ_BAD_ARGUMENT = 2,    // null, empty or out of range
  EUQ_NOT_REGISTERED = 3,  // an area that is not registered
  EUQ_BUSY = 4,            // a job runs
  EUQ_DATABASE = 5,
  EUQ_NOT_STARTED = 6,  // the job's process
  EUQ_NOT_ENABLED = 7,
  EUQ_NO_JOB = 8,        // nothing to cancel
  EUQ_CANCELLED = 9,     // result of a job
  EUQ_INTERRUPTED = 10,  // result of a job whose process died
  EUQ_NOT_EMPTY = 11,    // an area that still holds messages
  EUQ_NO_AREA = 12       // all nine areas are registered
};

// Opens the store, making it when it is not there. Without it every other function fails.
bool init_euq_lib();

int enable_euq();
int disable_euq();
// Has whoever serves the quarantine take it up again, by a count in the store; fails when it is
// off.
int restart_euq();
bool is_euq_enable();

// Upkeep of the distribution lists, whose members then see their list's messages.
int enable_dl_maintain();
int disable_dl_maintain();
bool is_dl_maintain_enable();

// Registers an area for `name` (1 to 255 bytes), the scanner whose messages it holds; the lowest
// free number from 1 to 9 is its own, and in the log. A name that is registered already keeps its
// number. It may come as a Java VM hands it out; kept is real UTF-8. Control characters are
// refused.
int regist_euq(const char* name);
// Gives an area back: it has to be empty (transferred or removed first). 0 stands for all areas.
int unregist_euq(int area);

// Moves all messages of the other registered areas to this one, 1 to 9.
int transfer_euq_data(int area);
// Takes effect within a second; what was moved stays moved.
int cancel_transfer_euq_data();
bool is_transferring_euq_data();
// Whether the last transfer has ended; then `code` is its EuqResult and `text` says, in one line,
// how many of how many messages were moved. False before the first one and while it runs.
bool get_transfer_euq_result(int& code, std::string& text);

// Deletes the messages of all areas.
int remove_euq_data();
bool is_removing_euq_data();
bool get_remove_euq_result(int& code, std::string& text);

// For a console that shows how far a job is: messages done and in all. False when none runs.
bool get_euq_progress(long long& done, long long& total);

#endif
