// A small client of the CUPS print system over libcups: is the server
// there, which queues exist and take jobs, submit a file, follow a job.
//
// The server is the one libcups would use: CUPS_SERVER when set (read anew
// for every client, so a test can point each one at its own cupsd), else
// the client.conf setting, else the local socket. Each client keeps one
// connection, opened on first use and reopened by libcups when it drops.
// Calls never throw; a failure gives an empty answer and, where asked for,
// CUPS's own reason.
#pragma once

#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace ordolo::print {

enum class JobState {
  Unknown,  // the server could not be asked
  Pending,
  Held,
  Processing,
  Stopped,  // stopped by the printer or an operator; may be resumed
  Canceled,
  Aborted,
  Completed,
  Gone,  // the server no longer knows the job: it ended and was purged
};

// "pending", "completed", ... (CUPS's own words, for logs and messages).
QString toString(JobState state);

struct QueueStatus {
  bool exists = false;
  bool accepting = false;  // takes new jobs
  bool stopped = false;    // paused: takes jobs but prints none until resumed
  // Why it does not accept or print: the queue's state message, else its
  // state reasons; or why the server would not say (exists false). Empty
  // when nothing is wrong.
  QString reason;
};

struct CupsJob {
  int id = 0;
  QString queue;
  QString name;  // the job title given at submission
  JobState state = JobState::Unknown;
  QString reason;  // the job's state reasons and the printer's message, when CUPS gives them
};

// Options passed with a job ("copies" -> "2", "sides" -> "two-sided-long-edge").
using JobOptions = std::vector<std::pair<QString, QString>>;

class Cups {
 public:
  // `server`: a host, "host:port" or a socket path; empty: defaultServer().
  explicit Cups(const QString& server = {});
  ~Cups();
  Cups(const Cups&) = delete;
  Cups& operator=(const Cups&) = delete;

  // CUPS_SERVER when set, else the server libcups is configured for.
  static QString defaultServer();
  // The server this client talks to (as the user would name it).
  QString server() const;

  // True when the server answers; else false with *error (libcups's reason).
  bool reachable(QString* error = nullptr);

  // The default queue (PRINTER/LPDEST, lpoptions, else the server's); empty
  // when there is none.
  QString defaultQueue();
  // What the server says about a queue (printer or class).
  QueueStatus queue(const QString& name);

  // Submits a file; the job's name is `title`. The job id, or 0 with *error
  // (cupsLastErrorString). CUPS has the file's contents once this returns.
  int submit(const QString& queue, const QString& file, const QString& title, QString* error = nullptr,
             const JobOptions& options = {});
  // The IPP status of the last submit: 0 when it went through, else CUPS's
  // reason as a number (0x040A: document format not supported; 0x0502:
  // server not reachable).
  int lastStatus() const;

  // One job by id; state Unknown when the server cannot be asked, Gone when
  // it does not know the id.
  CupsJob job(int id);
  JobState jobState(int id) { return job(id).state; }

  // The jobs of a queue (all queues when empty), of every user, oldest
  // first: only those that have not ended, or with includeEnded also the
  // ones the server still remembers. nullopt when the server could not be
  // asked.
  std::optional<std::vector<CupsJob>> jobs(const QString& queue, bool includeEnded);
  // jobs(queue, false), empty when the server could not be asked.
  std::vector<CupsJob> activeJobs(const QString& queue = {});
  // The oldest such job whose name contains `text` (case-insensitive):
  // "is the attachment still being printed?".
  std::optional<CupsJob> findActiveJob(const QString& queue, const QString& text);

 private:
  struct Impl;
  std::unique_ptr<Impl> d_;
};

}  // namespace ordolo::print
