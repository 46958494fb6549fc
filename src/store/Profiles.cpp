#include "store/Profiles.h"

#include "lang/Messages.h"
#include "model/Model.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <QUrl>

namespace ordolo::store {

namespace {

using Format = StoreFolder::Format;

QString home() { return QDir::homePath(); }

QString xdg(const char* variable, const char* fallback) {
  const QString v = qEnvironmentVariable(variable);
  return v.isEmpty() ? home() + QLatin1Char('/') + QLatin1String(fallback) : v;
}
QString dataHome() { return xdg("XDG_DATA_HOME", ".local/share"); }
QString configHome() { return xdg("XDG_CONFIG_HOME", ".config"); }

QString expandHome(QString path) {
  path = path.trimmed();
  if (path == QLatin1String("~")) return home();
  if (path.startsWith(QLatin1String("~/"))) return home() + path.mid(1);
  path.replace(QLatin1String("$HOME"), home());
  return path;
}

QString cleaned(const QString& path) {
  QString p = QDir::cleanPath(path);
  while (p.size() > 1 && p.endsWith(QLatin1Char('/'))) p.chop(1);
  return p;
}

// Config files of the INI family: "[section]" (configobj's "[[sub]]" too,
// with the outer section in front: "calendars/work"), "key = value" or
// "key=value", "#" and ";" comments, values in quotes or not.
struct ConfigEntry {
  QString section, key, value;
};
std::vector<ConfigEntry> readConfig(const QString& path) {
  std::vector<ConfigEntry> out;
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly)) return out;
  QStringList sections;
  for (const QByteArray& raw : f.readAll().split('\n')) {
    const QString line = QString::fromUtf8(raw).trimmed();
    if (line.isEmpty() || line.startsWith(QLatin1Char('#')) || line.startsWith(QLatin1Char(';'))) continue;
    if (line.startsWith(QLatin1Char('['))) {
      int depth = 0;
      while (depth < line.size() && line[depth] == QLatin1Char('[')) ++depth;
      const QString name = line.mid(depth, line.indexOf(QLatin1Char(']')) - depth).trimmed();
      while (sections.size() >= depth) sections.removeLast();
      while (sections.size() < depth - 1) sections << QString();
      sections << name;
      continue;
    }
    const int eq = line.indexOf(QLatin1Char('='));
    if (eq <= 0) continue;
    QString value = line.mid(eq + 1).trimmed();
    if (value.size() >= 2 && (value.startsWith(QLatin1Char('"')) || value.startsWith(QLatin1Char('\''))) &&
        value.endsWith(value[0]))
      value = value.mid(1, value.size() - 2);
    out.push_back({sections.join(QLatin1Char('/')), line.left(eq).trimmed(), value});
  }
  return out;
}

QString configValue(const std::vector<ConfigEntry>& entries, const QString& section, const QString& key) {
  for (const ConfigEntry& e : entries)
    if (e.section.compare(section, Qt::CaseInsensitive) == 0 && e.key.compare(key, Qt::CaseInsensitive) == 0)
      return e.value;
  return {};
}

// A mount name not taken yet in the layout.
QString freeName(const StoreLayout& layout, const QString& wanted) {
  auto taken = [&layout](const QString& n) {
    if (n == QLatin1String(FileStore::kOverlayName)) return true;
    for (const StoreMount& m : layout.mounts)
      if (m.name.compare(n, Qt::CaseInsensitive) == 0) return true;
    return false;
  };
  QString base = wanted.trimmed();
  base.replace(QLatin1Char('/'), QLatin1Char('-'));
  if (base.isEmpty()) base = QStringLiteral("Folder");
  if (!taken(base)) return base;
  for (int n = 2;; ++n)
    if (!taken(QStringLiteral("%1 (%2)").arg(base).arg(n))) return QStringLiteral("%1 (%2)").arg(base).arg(n);
}

void mount(StoreLayout& layout, const QString& name, const QString& path, Format format, int role = 0,
           const QString& selector = {}) {
  StoreMount m;
  m.name = freeName(layout, name);
  m.path = cleaned(path);
  m.format = format;
  m.role = role;
  m.selector = selector;
  layout.mounts.push_back(m);
}

// What a folder of item files holds, by its files; `fallback` when it has none.
Format collectionFormat(const QString& path, Format fallback) {
  const auto found = FileStore::formatOf(path, QFileInfo(path).fileName());
  if (found && *found != Format::Container) return *found;
  return fallback;
}

// ------------------------------------------------------------- Thunderbird

// prefs.js: user_pref("name", value); value a string, a number or a boolean.
QHash<QString, QString> readPrefs(const QString& path) {
  QHash<QString, QString> prefs;
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly)) return prefs;
  static const QRegularExpression line(
      QStringLiteral("^\\s*user_pref\\(\\s*\"((?:[^\"\\\\]|\\\\.)*)\"\\s*,\\s*(.*?)\\s*\\)\\s*;"));
  auto unescape = [](const QString& s) {
    QString out;
    for (int i = 0; i < s.size(); ++i) {
      if (s[i] == QLatin1Char('\\') && i + 1 < s.size()) {
        const QChar c = s[++i];
        if (c == QLatin1Char('n')) out += QLatin1Char('\n');
        else if (c == QLatin1Char('u') && i + 4 < s.size()) {
          out += QChar(s.mid(i + 1, 4).toUShort(nullptr, 16));
          i += 4;
        } else out += c;
      } else {
        out += s[i];
      }
    }
    return out;
  };
  for (const QByteArray& raw : f.readAll().split('\n')) {
    const auto m = line.match(QString::fromUtf8(raw));
    if (!m.hasMatch()) continue;
    QString value = m.captured(2);
    if (value.startsWith(QLatin1Char('"')) && value.endsWith(QLatin1Char('"')) && value.size() >= 2)
      value = unescape(value.mid(1, value.size() - 2));
    prefs.insert(unescape(m.captured(1)), value);
  }
  return prefs;
}

// A folder named in prefs.js: "[ProfD]Mail/x" in directory-rel, else absolute.
QString prefsFolder(const QHash<QString, QString>& prefs, const QString& key, const QString& profile) {
  const QString rel = prefs.value(key + QStringLiteral("-rel"));
  if (rel.startsWith(QLatin1String("[ProfD]"))) return profile + QLatin1Char('/') + rel.mid(7);
  return prefs.value(key);
}

void thunderbirdMail(StoreLayout& layout, const QString& profile, const QHash<QString, QString>& prefs) {
  QSet<QString> seen;
  const QStringList accounts =
      prefs.value(QStringLiteral("mail.accountmanager.accounts")).split(QLatin1Char(','), Qt::SkipEmptyParts);
  QStringList servers;
  for (const QString& account : accounts) {
    const QString server = prefs.value(QStringLiteral("mail.account.%1.server").arg(account.trimmed()));
    if (!server.isEmpty()) servers << server;
  }
  const QString local = prefs.value(QStringLiteral("mail.accountmanager.localfoldersserver"));
  if (!local.isEmpty() && !servers.contains(local)) servers << local;
  for (const QString& server : servers) {
    const QString key = QStringLiteral("mail.server.%1.").arg(server);
    const QString type = prefs.value(key + QStringLiteral("type"));
    if (type == QLatin1String("nntp")) continue;  // news: not the user's mail
    const QString dir = prefsFolder(prefs, key + QStringLiteral("directory"), profile);
    if (dir.isEmpty() || !QFileInfo(dir).isDir() || seen.contains(cleaned(dir))) continue;
    seen.insert(cleaned(dir));
    QString name = prefs.value(key + QStringLiteral("name"));
    if (name.isEmpty()) name = QFileInfo(dir).fileName();
    mount(layout, name, dir, Format::Container);
  }
  // Without prefs.js (or with folders it does not name): the usual places.
  for (const char* top : {"Mail", "ImapMail"}) {
    const QDir dir(profile + QLatin1Char('/') + QLatin1String(top));
    for (const QFileInfo& fi : dir.entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
      if (seen.contains(cleaned(fi.filePath()))) continue;
      if (!accounts.isEmpty()) continue;  // prefs.js tells which folders are in use
      seen.insert(cleaned(fi.filePath()));
      mount(layout, fi.fileName(), fi.filePath(), Format::Container);
    }
  }
  // The owner: the first identity of the first account.
  if (!accounts.isEmpty()) {
    const QString identity = prefs.value(QStringLiteral("mail.account.%1.identities").arg(accounts.first().trimmed()))
                                 .section(QLatin1Char(','), 0, 0);
    layout.user = prefs.value(QStringLiteral("mail.identity.%1.fullName").arg(identity));
    layout.address = prefs.value(QStringLiteral("mail.identity.%1.useremail").arg(identity));
  }
}

void thunderbirdBooks(StoreLayout& layout, const QString& profile, const QHash<QString, QString>& prefs) {
  // Book names from prefs.js by file name; the two built-in books have
  // their names in Thunderbird itself.
  QHash<QString, QString> names{{QStringLiteral("abook.sqlite"), QStringLiteral("Personal Address Book")},
                                {QStringLiteral("history.sqlite"), QStringLiteral("Collected Addresses")}};
  for (auto it = prefs.begin(); it != prefs.end(); ++it) {
    if (!it.key().startsWith(QLatin1String("ldap_2.servers.")) || !it.key().endsWith(QLatin1String(".filename")))
      continue;
    const QString server = it.key().chopped(9);
    const QString description = prefs.value(server + QStringLiteral(".description"));
    if (!description.isEmpty()) names.insert(it.value(), description);
  }
  // The personal book first, then the others in the order they were made.
  QStringList files = QDir(profile).entryList({QStringLiteral("abook*.sqlite")}, QDir::Files, QDir::Name);
  std::stable_sort(files.begin(), files.end(), [](const QString& a, const QString& b) {
    auto number = [](const QString& f) { return f == QLatin1String("abook.sqlite") ? 0 : f.mid(6).section('.', 0, 0).toInt(); };
    return number(a) < number(b);
  });
  if (QFileInfo::exists(profile + QStringLiteral("/history.sqlite"))) files << QStringLiteral("history.sqlite");
  for (const QString& file : files) {
    const QString name = names.value(file, QFileInfo(file).completeBaseName());
    mount(layout, name, profile + QLatin1Char('/') + file, Format::ContactsDb,
          file == QLatin1String("abook.sqlite") ? model::olFolderContacts : 0);
  }
}

void thunderbirdCalendars(StoreLayout& layout, const QString& profile, const QHash<QString, QString>& prefs) {
  const QString local = profile + QStringLiteral("/calendar-data/local.sqlite");
  const QString cache = profile + QStringLiteral("/calendar-data/cache.sqlite");
  struct Calendar {
    QString id, name, file;
    bool isIcsFile = false;
  };
  std::vector<Calendar> calendars;
  QStringList ids;
  for (auto it = prefs.begin(); it != prefs.end(); ++it) {
    static const QRegularExpression key(QStringLiteral("^calendar\\.registry\\.([^.]+)\\.type$"));
    const auto m = key.match(it.key());
    if (m.hasMatch()) ids << m.captured(1);
  }
  // In the order Thunderbird lists them, those in use first (Thunderbird
  // makes its Home calendar disabled until the user turns it on).
  ids.sort();
  const QStringList order = prefs.value(QStringLiteral("calendar.list.sortOrder")).split(QLatin1Char(' '), Qt::SkipEmptyParts);
  std::stable_sort(ids.begin(), ids.end(), [&](const QString& a, const QString& b) {
    auto rank = [&](const QString& id) {
      const bool off = prefs.value(QStringLiteral("calendar.registry.%1.disabled").arg(id)) == QLatin1String("true");
      const int at = order.indexOf(id);
      return std::make_pair(off, at < 0 ? order.size() : at);
    };
    return rank(a) < rank(b);
  });
  for (const QString& id : ids) {
    const QString base = QStringLiteral("calendar.registry.%1.").arg(id);
    const QString type = prefs.value(base + QStringLiteral("type"));
    const QString name = prefs.value(base + QStringLiteral("name"), id);
    const QString uri = prefs.value(base + QStringLiteral("uri"));
    if (type == QLatin1String("storage") && QFileInfo::exists(local)) {
      calendars.push_back({id, name, local});
    } else if (type == QLatin1String("ics") && uri.startsWith(QLatin1String("file:"))) {
      const QString file = QUrl(uri).toLocalFile();
      if (QFileInfo(file).isFile()) calendars.push_back({id, name, file, true});
    } else if (prefs.value(base + QStringLiteral("cache.enabled")) == QLatin1String("true") &&
               QFileInfo::exists(cache)) {
      calendars.push_back({id, name, cache});  // a network calendar's copy for offline use
    }
  }
  // Without prefs.js: every calendar of the local file, together.
  if (calendars.empty() && QFileInfo::exists(local)) calendars.push_back({QString(), QStringLiteral("Calendar"), local});
  bool first = true;
  for (const Calendar& c : calendars) {
    if (c.isIcsFile) {
      mount(layout, c.name, c.file, Format::IcsFile, first ? model::olFolderCalendar : 0);
    } else {
      mount(layout, c.name, c.file, Format::CalendarDb, first ? model::olFolderCalendar : 0,
            QStringLiteral("events:") + c.id);
      mount(layout, first ? QStringLiteral("Tasks") : c.name + QStringLiteral(" Tasks"), c.file, Format::CalendarDb,
            first ? model::olFolderTasks : 0, QStringLiteral("todos:") + c.id);
    }
    first = false;
  }
}

void findThunderbird(FoundStores& found) {
  const QStringList roots{home() + QStringLiteral("/.thunderbird"), configHome() + QStringLiteral("/thunderbird"),
                          home() + QStringLiteral("/snap/thunderbird/common/.thunderbird"),
                          home() + QStringLiteral("/.var/app/org.mozilla.Thunderbird/.thunderbird")};
  QSet<QString> seen;
  for (const QString& root : roots) {
    const QString ini = root + QStringLiteral("/profiles.ini");
    if (!QFileInfo(ini).isFile()) continue;
    const std::vector<ConfigEntry> entries = readConfig(ini);
    // The default: the install's own choice, else the profile marked Default=1.
    QString installDefault;
    for (const ConfigEntry& e : entries)
      if (e.section.startsWith(QLatin1String("Install"), Qt::CaseInsensitive) &&
          e.key.compare(QLatin1String("Default"), Qt::CaseInsensitive) == 0 && installDefault.isEmpty())
        installDefault = e.value;
    QStringList sections;
    for (const ConfigEntry& e : entries)
      if (e.section.startsWith(QLatin1String("Profile"), Qt::CaseInsensitive) && !sections.contains(e.section))
        sections << e.section;
    std::vector<StoreLayout> profiles;
    for (const QString& section : sections) {
      const QString path = configValue(entries, section, QStringLiteral("Path"));
      if (path.isEmpty()) continue;
      const bool relative = configValue(entries, section, QStringLiteral("IsRelative")) != QLatin1String("0");
      const QString folder = cleaned(relative ? root + QLatin1Char('/') + path : path);
      QString name = configValue(entries, section, QStringLiteral("Name"));
      if (name.isEmpty()) name = QFileInfo(folder).fileName();
      if (!QFileInfo(folder).isDir()) {
        found.notices << lang::text(lang::Msg::ErrProfileMissing).arg(ini, folder);
        continue;
      }
      if (seen.contains(QFileInfo(folder).canonicalFilePath())) continue;
      seen.insert(QFileInfo(folder).canonicalFilePath());
      StoreLayout layout = ThunderbirdLayout(folder, name);
      if (layout.mounts.empty()) continue;
      const bool isDefault = path == installDefault ||
                             (installDefault.isEmpty() &&
                              configValue(entries, section, QStringLiteral("Default")) == QLatin1String("1"));
      if (isDefault) profiles.insert(profiles.begin(), layout);
      else profiles.push_back(layout);
    }
    for (StoreLayout& p : profiles) found.stores.push_back(std::move(p));
  }
}

// --------------------------------------------------------------- Evolution

void findEvolution(FoundStores& found) {
  const QString data = dataHome() + QStringLiteral("/evolution");
  if (!QFileInfo(data).isDir()) return;
  StoreLayout layout;
  layout.kind = QStringLiteral("evolution");
  layout.name = QStringLiteral("default");
  layout.root = data;
  // Names and owners from the sources' key files.
  QHash<QString, QString> names;
  const QString sources = configHome() + QStringLiteral("/evolution/sources");
  for (const QFileInfo& fi : QDir(sources).entryInfoList({QStringLiteral("*.source")}, QDir::Files, QDir::Name)) {
    const std::vector<ConfigEntry> entries = readConfig(fi.filePath());
    const QString display = configValue(entries, QStringLiteral("Data Source"), QStringLiteral("DisplayName"));
    if (!display.isEmpty()) names.insert(fi.completeBaseName(), display);
    const QString address = configValue(entries, QStringLiteral("Mail Identity"), QStringLiteral("Address"));
    if (layout.address.isEmpty() && !address.isEmpty()) {
      layout.address = address;
      layout.user = configValue(entries, QStringLiteral("Mail Identity"), QStringLiteral("Name"));
    }
  }
  // "On This Computer": a Maildir++ whose root is the Inbox; its folders
  // ".Name" (".A.B" for A/B, "..X" for Inbox/X, "_2E" and "_5F" for "." and "_").
  const QString mail = data + QStringLiteral("/mail/local");
  if (QFileInfo(mail + QStringLiteral("/cur")).isDir()) {
    mount(layout, QStringLiteral("Inbox"), mail, Format::Maildir, model::olFolderInbox);
    layout.mounts.back().leaf = true;
    for (const QString& dir : QDir(mail).entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name)) {
      if (!dir.startsWith(QLatin1Char('.')) || dir == QLatin1String(".#evolution")) continue;
      QString name = dir.mid(1);
      if (name.startsWith(QLatin1Char('.'))) name = QStringLiteral("Inbox") + name;
      name.replace(QLatin1Char('.'), QStringLiteral(" - "))
          .replace(QLatin1String("_2E"), QLatin1String("."))
          .replace(QLatin1String("_5F"), QLatin1String("_"));
      const QString path = mail + QLatin1Char('/') + dir;
      if (QFileInfo(path + QStringLiteral("/cur")).isDir()) {
        mount(layout, name, path, Format::Maildir);
        layout.mounts.back().leaf = true;
      }
    }
  }
  // Each local source has a folder named by its id; "system" is the built-in one.
  struct Kind {
    const char* folder;
    const char* file;
    const char* systemName;
    Format format;
    int role;
  };
  const Kind kinds[] = {{"calendar", "calendar.ics", "Calendar", Format::IcsFile, model::olFolderCalendar},
                        {"tasks", "tasks.ics", "Tasks", Format::IcsFile, model::olFolderTasks},
                        {"memos", "journal.ics", "Memos", Format::IcsFile, model::olFolderNotes},
                        {"addressbook", "contacts.db", "Contacts", Format::ContactsDb, model::olFolderContacts}};
  for (const Kind& k : kinds) {
    const QDir dir(data + QLatin1Char('/') + QLatin1String(k.folder));
    QStringList uids = dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    if (uids.removeAll(QStringLiteral("system"))) uids.prepend(QStringLiteral("system"));
    for (const QString& uid : uids) {
      const QString file = dir.filePath(uid + QLatin1Char('/') + QLatin1String(k.file));
      if (!QFileInfo(file).isFile()) continue;
      const bool system = uid == QLatin1String("system");
      // Memo lists hold notes, wherever they are.
      const int role = system || k.role == model::olFolderNotes ? k.role : 0;
      mount(layout, system ? QLatin1String(k.systemName) : names.value(uid, uid), file, k.format, role);
    }
  }
  if (!layout.mounts.empty()) found.stores.push_back(std::move(layout));
}

// ------------------------------------------------------------------- KMail

// Akonadi's resources name their folders in <instance>rc files:
// [General] Path=..., DisplayName=...
std::vector<std::pair<QString, QString>> akonadiPaths(const char* resource) {
  std::vector<std::pair<QString, QString>> out;
  const QDir dir(configHome());
  for (const QString& rc :
       dir.entryList({QLatin1String(resource) + QStringLiteral("_*rc")}, QDir::Files, QDir::Name)) {
    const std::vector<ConfigEntry> entries = readConfig(dir.filePath(rc));
    QString path = configValue(entries, QStringLiteral("General"), QStringLiteral("Path"));
    if (path.startsWith(QLatin1String("file://"))) path = QUrl(path).toLocalFile();
    if (!path.isEmpty())
      out.emplace_back(cleaned(expandHome(path)), configValue(entries, QStringLiteral("General"), QStringLiteral("DisplayName")));
  }
  return out;
}

void findKMail(FoundStores& found) {
  StoreLayout layout;
  layout.kind = QStringLiteral("kmail");
  layout.name = QStringLiteral("default");
  layout.root = dataHome() + QStringLiteral("/local-mail");
  QSet<QString> seen;
  auto add = [&](const QString& name, const QString& path, Format format, int role) {
    if (!QFileInfo::exists(path) || seen.contains(path)) return;
    seen.insert(path);
    mount(layout, name, path, format, role);
  };
  // Local Folders: a folder of Maildirs (inbox, sent-mail, ...), their
  // subfolders in .<name>.directory beside them.
  add(QStringLiteral("Local Folders"), layout.root, Format::Container, 0);
  for (const auto& [path, name] : akonadiPaths("akonadi_maildir_resource"))
    add(name.isEmpty() ? QFileInfo(path).fileName() : name, path, collectionFormat(path, Format::Container), 0);
  const bool mail = !layout.mounts.empty();
  add(QStringLiteral("Contacts"), dataHome() + QStringLiteral("/contacts"), Format::VcfDirectory, 0);
  for (const auto& [path, name] : akonadiPaths("akonadi_contacts_resource"))
    add(name.isEmpty() ? QStringLiteral("Contacts") : name, path, Format::VcfDirectory, 0);
  for (const auto& [path, name] : akonadiPaths("akonadi_ical_resource"))
    add(name.isEmpty() ? QStringLiteral("Calendar") : name, path, Format::IcsFile, 0);
  for (const char* file : {"/korganizer/calendar.ics", "/korganizer/std.ics", "/apps/korganizer/std.ics"})
    add(QStringLiteral("Calendar"), dataHome() + QLatin1String(file), Format::IcsFile, 0);
  // The first address book and calendar are the default ones.
  for (const auto& [format, role] : {std::make_pair(Format::VcfDirectory, int(model::olFolderContacts)),
                                     std::make_pair(Format::IcsFile, int(model::olFolderCalendar))})
    for (StoreMount& m : layout.mounts)
      if (m.format == format) {
        m.role = role;
        break;
      }
  if (mail) found.stores.push_back(std::move(layout));
}

// -------------------------------------------------------------------- vdirs

// A path with shell wildcards in its parts (khal's discover), expanded.
QStringList expandGlob(const QString& pattern) {
  QStringList current{QString()};
  const QStringList parts = cleaned(pattern).split(QLatin1Char('/'));
  for (int i = 0; i < parts.size(); ++i) {
    const QString& part = parts[i];
    QStringList next;
    for (const QString& base : current) {
      if (i == 0 && part.isEmpty()) {
        next << QString();
        continue;
      }
      if (!part.contains(QLatin1Char('*')) && !part.contains(QLatin1Char('?')) && !part.contains(QLatin1Char('['))) {
        next << base + QLatin1Char('/') + part;
        continue;
      }
      const QDir dir(base.isEmpty() ? QStringLiteral("/") : base);
      for (const QString& name : dir.entryList({part}, QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name))
        next << base + QLatin1Char('/') + name;
    }
    current = next;
  }
  QStringList out;
  for (const QString& p : current)
    if (QFileInfo(p).isDir()) out << cleaned(p);
  return out;
}

// A vdir collection's name: its displayname file (vdirsyncer keeps the
// server's name there), else the folder's name.
QString displayName(const QString& folder) {
  QFile f(folder + QStringLiteral("/displayname"));
  if (f.size() < 1024 && f.open(QIODevice::ReadOnly)) {
    const QString name = QString::fromUtf8(f.readAll()).trimmed();
    if (!name.isEmpty() && !name.contains(QLatin1Char('\n'))) return name;
  }
  return QFileInfo(folder).fileName();
}

void addVdirStore(FoundStores& found, StoreLayout layout) {
  if (layout.mounts.empty()) return;
  for (const StoreLayout& other : found.stores)
    if (other.kind == layout.kind && other.name.compare(layout.name, Qt::CaseInsensitive) == 0) return;
  found.stores.push_back(std::move(layout));
}

void findVdirs(FoundStores& found) {
  // vdirsyncer: each filesystem storage is a folder of collections.
  for (const QString& path : {qEnvironmentVariable("VDIRSYNCER_CONFIG"), home() + QStringLiteral("/.vdirsyncer/config"),
                              configHome() + QStringLiteral("/vdirsyncer/config")}) {
    if (!QFileInfo(path).isFile()) continue;
    const std::vector<ConfigEntry> entries = readConfig(path);
    QStringList storages;
    for (const ConfigEntry& e : entries)
      if (e.section.startsWith(QLatin1String("storage "), Qt::CaseInsensitive) && !storages.contains(e.section))
        storages << e.section;
    for (const QString& section : storages) {
      if (configValue(entries, section, QStringLiteral("type")) != QLatin1String("filesystem")) continue;
      const QString root = cleaned(expandHome(configValue(entries, section, QStringLiteral("path"))));
      if (!QFileInfo(root).isDir()) {
        found.notices << lang::text(lang::Msg::ErrProfileMissing).arg(path, root);
        continue;
      }
      const QString ext = configValue(entries, section, QStringLiteral("fileext"));
      const Format fallback = ext.endsWith(QLatin1String(".vcf")) ? Format::VcfDirectory : Format::IcsDirectory;
      StoreLayout layout;
      layout.kind = QStringLiteral("vdir");
      layout.name = section.mid(8).trimmed();
      layout.root = root;
      // A storage that is itself one collection, or a folder of them.
      const QStringList collections = QDir(root).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
      if (collections.isEmpty()) mount(layout, layout.name, root, fallback);
      for (const QString& c : collections) {
        const QString folder = root + QLatin1Char('/') + c;
        mount(layout, displayName(folder), folder, collectionFormat(folder, fallback));
      }
      addVdirStore(found, std::move(layout));
    }
  }
  // khal and khard: one store each, their calendars and address books as folders.
  struct Tool {
    const char* name;
    QStringList files;
    const char* section;
    Format fallback;
    int role;
  };
  const Tool tools[] = {
      {"khal",
       {configHome() + QStringLiteral("/khal/config"), configHome() + QStringLiteral("/khal/khal.conf"),
        home() + QStringLiteral("/.khal/khal.conf")},
       "calendars",
       Format::IcsDirectory,
       model::olFolderCalendar},
      {"khard",
       {qEnvironmentVariable("KHARD_CONFIG"), configHome() + QStringLiteral("/khard/khard.conf"),
        home() + QStringLiteral("/.khard/khard.conf")},
       "addressbooks",
       Format::VcfDirectory,
       model::olFolderContacts}};
  for (const Tool& tool : tools) {
    for (const QString& path : tool.files) {
      if (!QFileInfo(path).isFile()) continue;
      const std::vector<ConfigEntry> entries = readConfig(path);
      StoreLayout layout;
      layout.kind = QStringLiteral("vdir");
      layout.name = QLatin1String(tool.name);
      layout.root = QFileInfo(path).path();
      QStringList names;
      const QString prefix = QLatin1String(tool.section) + QLatin1Char('/');
      for (const ConfigEntry& e : entries)
        if (e.section.startsWith(prefix, Qt::CaseInsensitive) && !names.contains(e.section)) names << e.section;
      for (const QString& section : names) {
        const QString name = section.mid(prefix.size());
        const QString where = expandHome(configValue(entries, section, QStringLiteral("path")));
        const QString type = configValue(entries, section, QStringLiteral("type"));
        const QStringList folders = type == QLatin1String("discover") ? expandGlob(where) : QStringList{cleaned(where)};
        for (const QString& folder : folders) {
          if (!QFileInfo(folder).isDir()) {
            found.notices << lang::text(lang::Msg::ErrProfileMissing).arg(path, folder);
            continue;
          }
          const bool first = layout.mounts.empty();
          mount(layout, type == QLatin1String("discover") ? displayName(folder) : name, folder,
                collectionFormat(folder, tool.fallback), first ? tool.role : 0);
        }
      }
      addVdirStore(found, std::move(layout));
      break;  // the first configuration file found is the tool's
    }
  }
}

bool isThunderbirdProfile(const QString& folder) {
  const QDir dir(folder);
  return dir.exists(QStringLiteral("prefs.js")) &&
         (dir.exists(QStringLiteral("Mail")) || dir.exists(QStringLiteral("ImapMail")) ||
          dir.exists(QStringLiteral("abook.sqlite")));
}

}  // namespace

StoreLayout ThunderbirdLayout(const QString& profileFolder, const QString& name) {
  StoreLayout layout;
  layout.kind = QStringLiteral("thunderbird");
  layout.name = name;
  layout.root = cleaned(profileFolder);
  const QHash<QString, QString> prefs = readPrefs(layout.root + QStringLiteral("/prefs.js"));
  thunderbirdMail(layout, layout.root, prefs);
  thunderbirdBooks(layout, layout.root, prefs);
  thunderbirdCalendars(layout, layout.root, prefs);
  return layout;
}

FoundStores FindStores() {
  FoundStores found;
  findThunderbird(found);
  findEvolution(found);
  findKMail(found);
  findVdirs(found);
  return found;
}

std::shared_ptr<FileStore> OpenStore(const QString& storeArg, QString* error) {
  const QFileInfo info(storeArg);
  QString why;
  if (info.isDir()) {
    std::shared_ptr<FileStore> opened;
    if (isThunderbirdProfile(storeArg)) {
      opened = FileStore::open(ThunderbirdLayout(info.absoluteFilePath(), info.fileName()), &why);
    } else {
      // A mail program's folder given by its path is theirs all the same:
      // its own store when it is one, else read-only.
      const QString own = info.canonicalFilePath();
      auto within = [](const QString& a, const QString& b) {
        return a == b || a.startsWith(b + QLatin1Char('/')) || b.startsWith(a + QLatin1Char('/'));
      };
      bool theirs = false;
      const FoundStores found = FindStores();
      for (const StoreLayout& layout : found.stores) {
        if (QFileInfo(layout.root).canonicalFilePath() == own) {
          opened = FileStore::open(layout, &why);
          break;
        }
        for (const StoreMount& m : layout.mounts) {
          const QString mount = QFileInfo(m.path).canonicalFilePath();
          theirs = theirs || (!mount.isEmpty() && within(own, mount));
        }
      }
      if (!opened && why.isEmpty()) opened = FileStore::open(storeArg, &why, theirs);
    }
    if (!opened && error) *error = lang::text(lang::Msg::ErrStoreOpen).arg(storeArg, why);
    return opened;
  }
  // "kind" or "kind:name"; a path that is not there is told as one.
  const QString kind = storeArg.section(QLatin1Char(':'), 0, 0).trimmed();
  const QString name = storeArg.contains(QLatin1Char(':')) ? storeArg.section(QLatin1Char(':'), 1).trimmed() : QString();
  if (!storeArg.contains(QLatin1Char('/')) && !kind.isEmpty()) {
    const FoundStores found = FindStores();
    for (const StoreLayout& layout : found.stores) {
      if (layout.kind.compare(kind, Qt::CaseInsensitive) != 0) continue;
      if (!name.isEmpty() && layout.name.compare(name, Qt::CaseInsensitive) != 0) continue;
      auto opened = FileStore::open(layout, &why);
      if (!opened && error) *error = lang::text(lang::Msg::ErrStoreOpen).arg(storeArg, why);
      return opened;
    }
    if (error) *error = lang::text(lang::Msg::ErrStoreUnknown).arg(storeArg);
    return nullptr;
  }
  if (error) *error = lang::text(lang::Msg::ErrStore).arg(storeArg);
  return nullptr;
}

}  // namespace ordolo::store
