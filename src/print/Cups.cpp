#include "print/Cups.h"

#include <QFile>
#include <QFileInfo>

#include <cups/cups.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "util/DebugLog.h"

namespace ordolo::print {

namespace {

// How long connecting may take; a local socket answers at once or never.
constexpr int kConnectTimeoutMs = 5000;

QString env(const char* name) { return QString::fromLocal8Bit(qgetenv(name)); }

JobState fromIpp(int state) {
  switch (state) {
    case IPP_JSTATE_PENDING: return JobState::Pending;
    case IPP_JSTATE_HELD: return JobState::Held;
    case IPP_JSTATE_PROCESSING: return JobState::Processing;
    case IPP_JSTATE_STOPPED: return JobState::Stopped;
    case IPP_JSTATE_CANCELED: return JobState::Canceled;
    case IPP_JSTATE_ABORTED: return JobState::Aborted;
    case IPP_JSTATE_COMPLETED: return JobState::Completed;
    default: return JobState::Unknown;
  }
}

// All values of a text or keyword attribute, joined by ", ", leaving out "none".
QString joined(ipp_t* response, const char* name) {
  ipp_attribute_t* attr = ippFindAttribute(response, name, IPP_TAG_ZERO);
  QStringList values;
  for (int i = 0; attr && i < ippGetCount(attr); ++i) {
    const char* v = ippGetString(attr, i, nullptr);
    if (v && *v && strcmp(v, "none") != 0) values << QString::fromUtf8(v);
  }
  return values.join(QLatin1String(", "));
}

}  // namespace

QString toString(JobState state) {
  switch (state) {
    case JobState::Pending: return QStringLiteral("pending");
    case JobState::Held: return QStringLiteral("held");
    case JobState::Processing: return QStringLiteral("processing");
    case JobState::Stopped: return QStringLiteral("stopped");
    case JobState::Canceled: return QStringLiteral("canceled");
    case JobState::Aborted: return QStringLiteral("aborted");
    case JobState::Completed: return QStringLiteral("completed");
    case JobState::Gone: return QStringLiteral("gone");
    case JobState::Unknown: break;
  }
  return QStringLiteral("unknown");
}

struct Cups::Impl {
  QString server;   // as given or found
  QByteArray host;  // host name or socket path
  int port = 0;
  http_t* http = nullptr;
  QString connectError;
  int lastStatus = IPP_STATUS_OK;  // of the last submit

  // The open connection, or nullptr with connectError.
  http_t* connection() {
    if (http) return http;
    http = httpConnect2(host.constData(), port, nullptr, AF_UNSPEC, cupsEncryption(), 1, kConnectTimeoutMs, nullptr);
    if (!http) {
      const int e = errno;
      connectError = e ? QString::fromLocal8Bit(strerror(e)) : QString::fromUtf8(cupsLastErrorString());
      util::DebugLog::write(QStringLiteral("CUPS: cannot connect to %1: %2").arg(server, connectError));
    }
    return http;
  }

  // Sends a request (which it frees); the response, or nullptr when the
  // server could not be reached.
  ipp_t* send(ipp_t* request, const char* resource) {
    http_t* h = connection();
    if (!h) {
      ippDelete(request);
      return nullptr;
    }
    return cupsDoRequest(h, request, resource);
  }
};

Cups::Cups(const QString& server) : d_(std::make_unique<Impl>()) {
  // A server that asks for a password gets none: libcups's default would
  // prompt on the terminal, which blocks a GUI or an unattended run.
  cupsSetPasswordCB2([](const char*, http_t*, const char*, const char*, void*) -> const char* { return nullptr; },
                     nullptr);
  d_->server = server.isEmpty() ? defaultServer() : server;
  // The forms libcups accepts: "/path/socket", "host", "host:port", each
  // optionally followed by "/version=1.1" (not for a socket).
  QString host = d_->server;
  int port = 0;
  if (!host.startsWith(QLatin1Char('/'))) {
    const int slash = host.indexOf(QLatin1Char('/'));
    if (slash >= 0) host.truncate(slash);
    const int colon = host.lastIndexOf(QLatin1Char(':'));
    bool ok = false;
    if (colon > 0 && !host.mid(colon).contains(QLatin1Char(']'))) {
      const int p = host.mid(colon + 1).toInt(&ok);
      if (ok) {
        port = p;
        host.truncate(colon);
      }
    }
    if (host.startsWith(QLatin1Char('[')) && host.endsWith(QLatin1Char(']'))) host = host.mid(1, host.size() - 2);
  }
  d_->host = host.toUtf8();
  d_->port = port > 0 ? port : ippPort();
}

Cups::~Cups() {
  if (d_->http) httpClose(d_->http);
}

QString Cups::defaultServer() {
  const QString fromEnv = env("CUPS_SERVER");
  if (!fromEnv.isEmpty()) return fromEnv;
  const QString host = QString::fromUtf8(cupsServer());
  if (host.startsWith(QLatin1Char('/')) || ippPort() == IPP_PORT) return host;
  return host + QLatin1Char(':') + QString::number(ippPort());
}

QString Cups::server() const { return d_->server; }

bool Cups::reachable(QString* error) {
  ipp_t* response = d_->send(ippNewRequest(IPP_OP_CUPS_GET_DEFAULT), "/");
  if (!response) {
    if (error) *error = d_->http ? QString::fromUtf8(cupsLastErrorString()) : d_->connectError;
    return false;
  }
  ippDelete(response);
  return true;
}

QString Cups::defaultQueue() {
  http_t* h = d_->connection();
  if (!h) return {};
  const char* name = cupsGetDefault2(h);
  return name ? QString::fromUtf8(name) : QString();
}

QueueStatus Cups::queue(const QString& name) {
  QueueStatus status;
  if (name.isEmpty()) return status;
  static const char* const kAttrs[] = {"printer-is-accepting-jobs", "printer-state", "printer-state-message",
                                       "printer-state-reasons"};
  const QByteArray n = name.toUtf8();
  // A class answers only under /classes/.
  for (const char* kind : {"/printers/", "/classes/"}) {
    char uri[HTTP_MAX_URI];
    char resource[HTTP_MAX_URI];
    snprintf(resource, sizeof resource, "%s%s", kind, n.constData());
    httpAssembleURIf(HTTP_URI_CODING_ALL, uri, sizeof uri, "ipp", nullptr, "localhost", ippPort(), "%s%s", kind,
                     n.constData());
    ipp_t* request = ippNewRequest(IPP_OP_GET_PRINTER_ATTRIBUTES);
    ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr, uri);
    ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_NAME, "requesting-user-name", nullptr, cupsUser());
    ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes", 4, nullptr, kAttrs);
    ipp_t* response = d_->send(request, resource);
    if (!response) return status;
    const ipp_status_t code = ippGetStatusCode(response);
    if (code > IPP_STATUS_OK_CONFLICTING) {
      // Not found: perhaps a class; anything else (forbidden, ...) is an
      // answer about the queue that the caller should see.
      if (code != IPP_STATUS_ERROR_NOT_FOUND) status.reason = QString::fromUtf8(cupsLastErrorString());
      ippDelete(response);
      if (code == IPP_STATUS_ERROR_NOT_FOUND) continue;
      return status;
    }
    status.exists = true;
    ipp_attribute_t* accepting = ippFindAttribute(response, "printer-is-accepting-jobs", IPP_TAG_BOOLEAN);
    status.accepting = accepting && ippGetBoolean(accepting, 0);
    ipp_attribute_t* state = ippFindAttribute(response, "printer-state", IPP_TAG_ENUM);
    status.stopped = state && ippGetInteger(state, 0) == IPP_PSTATE_STOPPED;
    status.reason = joined(response, "printer-state-message");
    if (status.reason.isEmpty()) status.reason = joined(response, "printer-state-reasons");
    ippDelete(response);
    return status;
  }
  return status;
}

int Cups::submit(const QString& queue, const QString& file, const QString& title, QString* error,
                 const JobOptions& options) {
  auto fail = [&](int status, const QString& why) {
    d_->lastStatus = status;
    util::DebugLog::write(QStringLiteral("CUPS: %1 not sent to %2: %3").arg(file, queue, why));
    if (error) *error = why;
    return 0;
  };
  if (!QFileInfo(file).isFile()) return fail(IPP_STATUS_ERROR_NOT_FOUND, QString::fromLocal8Bit(strerror(ENOENT)));
  http_t* h = d_->connection();
  // What libcups itself reports for a server it cannot reach.
  if (!h) return fail(IPP_STATUS_ERROR_SERVICE_UNAVAILABLE, d_->connectError);
  cups_option_t* opts = nullptr;
  int count = 0;
  for (const auto& [key, value] : options)
    count = cupsAddOption(key.toUtf8().constData(), value.toUtf8().constData(), count, &opts);
  const int id = cupsPrintFile2(h, queue.toUtf8().constData(), QFile::encodeName(file).constData(),
                                title.toUtf8().constData(), count, opts);
  cupsFreeOptions(count, opts);
  if (id <= 0) return fail(cupsLastError(), QString::fromUtf8(cupsLastErrorString()));
  d_->lastStatus = IPP_STATUS_OK;
  util::DebugLog::write(QStringLiteral("CUPS: %1 sent to %2 as job %3 \"%4\"").arg(file, queue).arg(id).arg(title));
  return id;
}

CupsJob Cups::job(int id) {
  CupsJob job;
  job.id = id;
  static const char* const kAttrs[] = {"job-state", "job-name", "job-printer-uri", "job-state-reasons",
                                       "job-printer-state-message"};
  char uri[HTTP_MAX_URI];
  httpAssembleURIf(HTTP_URI_CODING_ALL, uri, sizeof uri, "ipp", nullptr, "localhost", ippPort(), "/jobs/%d", id);
  ipp_t* request = ippNewRequest(IPP_OP_GET_JOB_ATTRIBUTES);
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_URI, "job-uri", nullptr, uri);
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_NAME, "requesting-user-name", nullptr, cupsUser());
  ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes", 5, nullptr, kAttrs);
  ipp_t* response = d_->send(request, "/");
  if (!response) return job;
  const ipp_status_t code = ippGetStatusCode(response);
  if (code == IPP_STATUS_ERROR_NOT_FOUND) {
    job.state = JobState::Gone;
  } else if (code <= IPP_STATUS_OK_CONFLICTING) {
    if (ipp_attribute_t* s = ippFindAttribute(response, "job-state", IPP_TAG_ENUM))
      job.state = fromIpp(ippGetInteger(s, 0));
    job.name = joined(response, "job-name");
    const QString printer = joined(response, "job-printer-uri");
    job.queue = printer.mid(printer.lastIndexOf(QLatin1Char('/')) + 1);
    QStringList why;
    for (const char* attr : {"job-state-reasons", "job-printer-state-message"}) {
      const QString v = joined(response, attr);
      if (!v.isEmpty()) why << v;
    }
    job.reason = why.join(QLatin1String("; "));
  }
  ippDelete(response);
  return job;
}

int Cups::lastStatus() const { return d_->lastStatus; }

std::optional<std::vector<CupsJob>> Cups::jobs(const QString& queue, bool includeEnded) {
  http_t* h = d_->connection();
  if (!h) return std::nullopt;
  cups_job_t* jobs = nullptr;
  const QByteArray name = queue.toUtf8();
  const int count = cupsGetJobs2(h, &jobs, queue.isEmpty() ? nullptr : name.constData(), 0,
                                 includeEnded ? CUPS_WHICHJOBS_ALL : CUPS_WHICHJOBS_ACTIVE);
  // "Not found" is how a server may say that there are no such jobs.
  if (count < 0) {
    if (cupsLastError() == IPP_STATUS_ERROR_NOT_FOUND) return std::vector<CupsJob>();
    util::DebugLog::write(QStringLiteral("CUPS: cannot list the jobs of %1: %2")
                              .arg(queue.isEmpty() ? d_->server : queue, QString::fromUtf8(cupsLastErrorString())));
    return std::nullopt;
  }
  std::vector<CupsJob> result;
  for (int i = 0; i < count; ++i) {
    CupsJob j;
    j.id = jobs[i].id;
    j.queue = QString::fromUtf8(jobs[i].dest);
    j.name = QString::fromUtf8(jobs[i].title);
    j.state = fromIpp(jobs[i].state);
    result.push_back(j);
  }
  if (count > 0) cupsFreeJobs(count, jobs);
  std::sort(result.begin(), result.end(), [](const CupsJob& a, const CupsJob& b) { return a.id < b.id; });
  return result;
}

std::vector<CupsJob> Cups::activeJobs(const QString& queue) {
  return jobs(queue, false).value_or(std::vector<CupsJob>());
}

std::optional<CupsJob> Cups::findActiveJob(const QString& queue, const QString& text) {
  for (const CupsJob& j : activeJobs(queue))
    if (j.name.contains(text, Qt::CaseInsensitive)) return j;
  return std::nullopt;
}

}  // namespace ordolo::print
