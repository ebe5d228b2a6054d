// Ends SQLite's statements in time. The driver accepts a statement time-out without keeping it, so
// this library is also an extension of SQLite, which the driver loads into each connection: SQLite
// then asks the clock every so often whether to go on. Other drivers keep time-outs themselves.
#ifndef VESK_DATABASE_STATEMENT_CLOCK_H
#define VESK_DATABASE_STATEMENT_CLOCK_H

#include <chrono>
#include <string>

namespace VESK::database {

class StatementClock {
 public:
  using Clock = std::chrono::steady_clock;

  StatementClock() = default;
  StatementClock(const StatementClock&) = delete;
  StatementClock& operator=(const StatementClock&) = delete;

  // The file that the driver has to load; empty if its path cannot be written into a connection
  // text.
  static std::string extension();

  // While it lives, a SQLite connection that this thread opens is tied to the clock, which has to
  // live longer than that connection.
  class Opening {
   public:
    explicit Opening(StatementClock& clock);
    ~Opening();
    Opening(const Opening&) = delete;
    Opening& operator=(const Opening&) = delete;
  };

  // While it lives, the statement has until then; no seconds are no limit.
  class Run {
   public:
    Run(StatementClock& clock, int seconds);
    ~Run() { clock.end = Clock::time_point::max(); }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

   private:
    StatementClock& clock;
  };

  bool isTied() const { return tied; }
  bool isOver() const { return Clock::now() > end; }
  void tie() { tied = true; }

 private:
  bool tied = false;
  Clock::time_point end = Clock::time_point::max();
};

}  // namespace VESK::database

#endif
