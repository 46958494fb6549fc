#include "util/TextFile.h"

#include <QFile>

namespace ordolo::util {

namespace {
// Bytes 0x80..0x9F of Windows-1252; 0 marks the five undefined ones.
constexpr char16_t kCp1252High[32] = {0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                      0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
                                      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                      0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};
}  // namespace

bool isValidUtf8(const QByteArray& bytes) {
  const auto* s = reinterpret_cast<const unsigned char*>(bytes.constData());
  const int n = bytes.size();
  int i = 0;
  while (i < n) {
    const unsigned char c = s[i];
    if (c < 0x80) {
      ++i;
      continue;
    }
    int len = 0;
    char32_t cp = 0;
    if ((c & 0xE0) == 0xC0) {
      len = 2;
      cp = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
      len = 3;
      cp = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
      len = 4;
      cp = c & 0x07;
    } else {
      return false;
    }
    if (i + len > n) return false;
    for (int k = 1; k < len; ++k) {
      if ((s[i + k] & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (s[i + k] & 0x3F);
    }
    static constexpr char32_t kMin[5] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < kMin[len] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
    i += len;
  }
  return true;
}

QString fromWindows1252(const QByteArray& bytes) {
  QString out;
  out.reserve(bytes.size());
  for (const char ch : bytes) {
    const auto c = static_cast<unsigned char>(ch);
    if (c >= 0x80 && c <= 0x9F && kCp1252High[c - 0x80] != 0) out.append(QChar(kCp1252High[c - 0x80]));
    else out.append(QChar(c));
  }
  return out;
}

QString decodeText(const QByteArray& bytes) {
  if (bytes.startsWith("\xEF\xBB\xBF")) return QString::fromUtf8(bytes.mid(3));
  if (bytes.size() >= 2) {
    const auto b0 = static_cast<unsigned char>(bytes[0]);
    const auto b1 = static_cast<unsigned char>(bytes[1]);
    if ((b0 == 0xFF && b1 == 0xFE) || (b0 == 0xFE && b1 == 0xFF)) {
      const bool little = b0 == 0xFF;
      QString out;
      out.reserve(bytes.size() / 2);
      for (int i = 2; i + 1 < bytes.size(); i += 2) {
        const auto lo = static_cast<unsigned char>(bytes[little ? i : i + 1]);
        const auto hi = static_cast<unsigned char>(bytes[little ? i + 1 : i]);
        out.append(QChar(static_cast<char16_t>(hi << 8 | lo)));
      }
      return out;
    }
  }
  if (isValidUtf8(bytes)) return QString::fromUtf8(bytes);
  return fromWindows1252(bytes);
}

QByteArray ReadWholeFileBytes(const QString& path) {
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly)) return {};
  return f.readAll();
}

QString ReadWholeFile(const QString& path) { return decodeText(ReadWholeFileBytes(path)); }

bool WriteWholeFile(const QString& path, const QString& text, bool binary) {
  QFile f(path);
  // Binary mode overwrites from the start but keeps whatever lies beyond the
  // new text; text mode replaces the file.
  const auto mode = binary ? QIODevice::ReadWrite : (QIODevice::WriteOnly | QIODevice::Truncate);
  if (!f.open(mode)) return false;
  QByteArray data = text.toUtf8();
  if (!binary) data.append("\r\n");
  return f.write(data) == data.size() && f.flush();
}

}  // namespace ordolo::util
