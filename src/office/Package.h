// An OOXML package (.docx/.dotx/.xlsx/.xltx ...): a zip of XML parts. Reads
// parts with limits that keep a hostile file from exhausting memory, and
// saves a copy in which changed parts are replaced and all others are copied
// as they were (still compressed).
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <map>
#include <memory>
#include <optional>

#include "office/Error.h"

namespace ordolo::office {

class Package {
 public:
  // Limits on what one package may hold once unpacked.
  static constexpr qint64 kMaxPartSize = 256LL * 1024 * 1024;
  // XML parts are parsed into a tree of about ten times their size.
  static constexpr qint64 kMaxXmlPartSize = 64LL * 1024 * 1024;
  static constexpr qint64 kMaxTotalSize = 1024LL * 1024 * 1024;
  // Compression beyond this ratio (for parts above 1 MB) is taken for a bomb.
  static constexpr qint64 kMaxRatio = 200;

  // Null and *error set (naming the file) when path is not a readable zip or
  // one of its entry names would leave the package's folder.
  static std::unique_ptr<Package> open(const QString& path, QString* error);
  ~Package();

  const QString& path() const { return path_; }
  // Entry names in the order of the file.
  QStringList entries() const;
  bool has(const QString& name) const;
  // A part's bytes (a staged change if there is one). nullopt and *error set
  // when it is missing, damaged or beyond the limits.
  std::optional<QByteArray> read(const QString& name, QString* error) const;

  // Stages new content for a part (new or existing); nothing is written
  // until saveAs.
  void write(const QString& name, const QByteArray& data);
  // Writes the package with its staged changes to path, replacing path
  // atomically. The package itself stays open on its own file.
  bool saveAs(const QString& path, QString* error) const;

 private:
  Package() = default;
  struct Zip;
  std::unique_ptr<Zip> zip_;
  QString path_;
  QStringList names_;
  std::map<QString, QByteArray> staged_;
};

// Largest picture file put into a document or workbook.
constexpr qint64 kMaxPictureSize = 64LL * 1024 * 1024;

// Reads a picture file for a document: its bytes, the extension and content
// type its first bytes show (PNG, JPEG, GIF or BMP). False and *error set
// (PictureInsert, naming the file) when it cannot be read, is too large or
// is none of these.
bool ReadPicture(const QString& path, QByteArray* data, QString* ext, QString* type, Error* error);

}  // namespace ordolo::office
