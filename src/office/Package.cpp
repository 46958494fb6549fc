#include "office/Package.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <pugixml.hpp>
#include <zip.h>

#include <cstring>
#include <sstream>

#include "util/DebugLog.h"

namespace ordolo::office {

struct Package::Zip {
  zip_t* handle = nullptr;
  ~Zip() {
    if (handle) zip_discard(handle);
  }
};

namespace {

QString zipError(int code) {
  zip_error_t e;
  zip_error_init_with_code(&e, code);
  const QString text = QString::fromUtf8(zip_error_strerror(&e));
  zip_error_fini(&e);
  return text;
}

// A name that would land outside the folder the package is unpacked into.
bool escapes(const QString& name) {
  if (name.isEmpty() || name.startsWith(QLatin1Char('/')) || name.contains(QLatin1Char('\\')) ||
      name.contains(QLatin1Char(':')))
    return true;
  for (const QString& piece : name.split(QLatin1Char('/')))
    if (piece == QLatin1String("..")) return true;
  return false;
}

// A relationship part with every outside target but hyperlinks pointed at a
// part that does not exist: LibreOffice loads linked pictures, frames and
// objects (from the web or from any local file) when it opens a document,
// and a template from a stranger must not make it do so. Hyperlinks stay:
// they are printed, never followed. nullopt when nothing had to change.
std::optional<QByteArray> WithoutOutsideTargets(const QString& part, const QByteArray& xml) {
  if (!xml.contains("External")) return std::nullopt;
  pugi::xml_document doc;
  if (!doc.load_buffer(xml.constData(), size_t(xml.size()), pugi::parse_default | pugi::parse_declaration))
    return std::nullopt;
  bool changed = false;
  for (pugi::xml_node rel : doc.document_element().children()) {
    if (std::strcmp(rel.attribute("TargetMode").value(), "External") != 0) continue;
    const char* type = rel.attribute("Type").value();
    const size_t length = std::strlen(type);
    if (length >= 10 && std::strcmp(type + length - 10, "/hyperlink") == 0) continue;
    util::DebugLog::write(QStringLiteral("Package: outside link not followed in %1: %2 (%3)")
                              .arg(part, QString::fromUtf8(rel.attribute("Target").value()), QString::fromUtf8(type)));
    rel.remove_attribute("TargetMode");
    rel.attribute("Target").set_value("ordolo-outside-link-removed");
    changed = true;
  }
  if (!changed) return std::nullopt;
  std::ostringstream out;
  doc.save(out, "", pugi::format_raw);
  return QByteArray::fromStdString(out.str());
}

}  // namespace

Package::~Package() = default;

std::unique_ptr<Package> Package::open(const QString& path, QString* error) {
  auto fail = [&](const QString& why) {
    if (error) *error = QStringLiteral("%1: %2").arg(path, why);
    return nullptr;
  };
  if (!QFileInfo(path).isFile()) return fail(QStringLiteral("no such file"));
  int code = 0;
  zip_t* handle = zip_open(QFile::encodeName(path).constData(), ZIP_RDONLY | ZIP_CHECKCONS, &code);
  if (!handle) return fail(code == ZIP_ER_NOZIP ? QStringLiteral("not a zip package") : zipError(code));
  std::unique_ptr<Package> p(new Package);
  p->zip_ = std::make_unique<Zip>();
  p->zip_->handle = handle;
  p->path_ = path;
  const zip_int64_t count = zip_get_num_entries(handle, 0);
  qint64 total = 0;
  for (zip_int64_t i = 0; i < count; ++i) {
    zip_stat_t st;
    if (zip_stat_index(handle, zip_uint64_t(i), 0, &st) != 0) return fail(QStringLiteral("damaged entry %1").arg(i));
    const QString name = QString::fromUtf8(st.name);
    if (escapes(name)) return fail(QStringLiteral("entry \"%1\" leaves the package's folder").arg(name));
    total += qint64(st.size);
    if (total > kMaxTotalSize) return fail(QStringLiteral("unpacks to more than %1 MB").arg(kMaxTotalSize >> 20));
    p->names_ << name;
  }
  return p;
}

QStringList Package::entries() const {
  QStringList out = names_;
  for (const auto& [name, data] : staged_)
    if (!out.contains(name)) out << name;
  return out;
}

bool Package::has(const QString& name) const { return names_.contains(name) || staged_.count(name); }

std::optional<QByteArray> Package::read(const QString& name, QString* error) const {
  auto fail = [&](const QString& why) -> std::optional<QByteArray> {
    if (error) *error = QStringLiteral("%1: %2: %3").arg(path_, name, why);
    return std::nullopt;
  };
  auto it = staged_.find(name);
  if (it != staged_.end()) return it->second;
  zip_stat_t st;
  if (zip_stat(zip_->handle, name.toUtf8().constData(), 0, &st) != 0) return fail(QStringLiteral("missing"));
  const qint64 size = qint64(st.size);
  const bool xml = name.endsWith(QLatin1String(".xml"), Qt::CaseInsensitive) ||
                   name.endsWith(QLatin1String(".rels"), Qt::CaseInsensitive) ||
                   name.endsWith(QLatin1String(".vml"), Qt::CaseInsensitive);
  const qint64 limit = xml ? kMaxXmlPartSize : kMaxPartSize;
  if (size > limit) return fail(QStringLiteral("larger than %1 MB").arg(limit >> 20));
  if (size > (1 << 20) && qint64(st.comp_size) > 0 && size / qint64(st.comp_size) > kMaxRatio)
    return fail(QStringLiteral("compressed beyond reason (a zip bomb?)"));
  zip_file_t* f = zip_fopen_index(zip_->handle, st.index, 0);
  if (!f) return fail(QString::fromUtf8(zip_strerror(zip_->handle)));
  // Read no more than the entry says it holds: a lying header stops here.
  QByteArray data;
  data.resize(int(size));
  zip_int64_t got = 0;
  while (got < size) {
    const zip_int64_t n = zip_fread(f, data.data() + got, zip_uint64_t(size - got));
    if (n <= 0) break;
    got += n;
  }
  const bool broken = got != size;
  zip_fclose(f);
  if (broken) return fail(QStringLiteral("damaged (read %1 of %2 bytes)").arg(got).arg(size));
  return data;
}

void Package::write(const QString& name, const QByteArray& data) { staged_[name] = data; }

bool Package::saveAs(const QString& target, QString* error) const {
  auto fail = [&](const QString& why) {
    if (error) *error = QStringLiteral("%1: %2").arg(target, why);
    return false;
  };
  // The zip is built in memory and written once through a file that is
  // renamed over the target: never half a file, and one file made per save
  // instead of libzip's own temporary beside ours.
  zip_error_t zerr;
  zip_error_init(&zerr);
  zip_source_t* memory = zip_source_buffer_create(nullptr, 0, 0, &zerr);
  if (!memory) return fail(QString::fromUtf8(zip_error_strerror(&zerr)));
  zip_source_keep(memory);
  zip_t* out = zip_open_from_source(memory, ZIP_TRUNCATE, &zerr);
  if (out) zip_error_fini(&zerr);
  if (!out) {
    const QString why = QString::fromUtf8(zip_error_strerror(&zerr));
    zip_error_fini(&zerr);
    zip_source_free(memory);  // both references: ours and the one open did not take
    zip_source_free(memory);
    return fail(why);
  }
  auto add = [&](const QString& name, zip_source_t* source) {
    if (!source) return false;
    if (zip_file_add(out, name.toUtf8().constData(), source, ZIP_FL_ENC_UTF_8 | ZIP_FL_OVERWRITE) < 0) {
      zip_source_free(source);
      return false;
    }
    return true;
  };
  // libzip reads the sources at zip_close; staged_ and rewritten keep their
  // bytes alive until then.
  std::map<QString, QByteArray> rewritten;
  bool ok = true;
  for (const QString& name : entries()) {
    auto it = staged_.find(name);
    const QByteArray* bytes = it != staged_.end() ? &it->second : nullptr;
    if (name.endsWith(QLatin1String(".rels"), Qt::CaseInsensitive)) {
      const std::optional<QByteArray> xml = bytes ? *bytes : read(name, nullptr);
      if (xml) {
        if (auto safe = WithoutOutsideTargets(name, *xml))
          bytes = &rewritten.emplace(name, std::move(*safe)).first->second;
      }
    }
    zip_source_t* source = nullptr;
    if (bytes) {
      source = zip_source_buffer(out, bytes->constData(), zip_uint64_t(bytes->size()), 0);
    } else {
      const zip_int64_t index = zip_name_locate(zip_->handle, name.toUtf8().constData(), 0);
      source = index < 0 ? nullptr : zip_source_zip(out, zip_->handle, zip_uint64_t(index), ZIP_FL_COMPRESSED, 0, -1);
    }
    if (!add(name, source)) {
      ok = false;
      break;
    }
  }
  if (!ok || zip_close(out) != 0) {
    const QString why = QString::fromUtf8(zip_strerror(out));
    zip_discard(out);
    zip_source_free(memory);
    return fail(why);
  }

  QByteArray bytes;
  bool read = zip_source_open(memory) == 0;
  if (read) {
    zip_source_seek(memory, 0, SEEK_END);
    const zip_int64_t size = zip_source_tell(memory);
    zip_source_seek(memory, 0, SEEK_SET);
    read = size >= 0;
    if (read) {
      bytes.resize(int(size));
      read = zip_source_read(memory, bytes.data(), zip_uint64_t(size)) == size;
    }
    zip_source_close(memory);
  }
  zip_source_free(memory);
  if (!read) return fail(QStringLiteral("cannot read the written package back"));

  QSaveFile file(target);
  if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
    return fail(file.errorString());
  return true;
}

bool ReadPicture(const QString& path, QByteArray* data, QString* ext, QString* type, Error* error) {
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) {
    *error = Error(Problem::PictureInsert, {path, file.errorString()});
    return false;
  }
  if (file.size() > kMaxPictureSize) {
    *error = Error(Problem::PictureInsert, {path},
                   Error(Problem::PictureTooLarge, {QString::number(kMaxPictureSize >> 20)}));
    return false;
  }
  *data = file.readAll();
  static const struct {
    const char* magic;
    const char* ext;
    const char* type;
  } kinds[] = {{"\x89PNG", "png", "image/png"},
               {"\xFF\xD8", "jpeg", "image/jpeg"},
               {"GIF8", "gif", "image/gif"},
               {"BM", "bmp", "image/bmp"}};
  for (const auto& k : kinds)
    if (data->startsWith(k.magic)) {
      *ext = QLatin1String(k.ext);
      *type = QLatin1String(k.type);
      return true;
    }
  *error = Error(Problem::PictureInsert, {path}, Error(Problem::PictureKind));
  return false;
}

}  // namespace ordolo::office
