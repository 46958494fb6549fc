#pragma once
// Mails that once took a whole folder down, written as Maildir files into
// `cur`: 10,000 MIME parts, multiparts nested 2,000 deep, a yEnc part
// declaring 1.4 GB, one declaring 2 GB (more than the MIME library can
// allocate: it throws std::bad_alloc when the body is decoded), 4 KB of
// random bytes and an empty file. The fault tests and scripts/bench-bad-mails
// use the same folder.
#include <QByteArray>
#include <QFile>
#include <QString>
#include <QStringList>

namespace ordolo::test {

// The files that are no mail at all (named as unreadable from the list on).
inline QStringList badMailNonMails() { return {"1780000004.M1P1.noise:2,S", "1780000005.M1P1.empty:2,S"}; }
// The mail listed from its header but named at print (its body cannot be decoded).
inline QString badMailUndecodable() { return QStringLiteral("1780000006.M1P1.bad:2,S"); }

inline bool writeBadMails(const QString& cur) {
  bool ok = true;
  auto put = [&](const QString& name, const QByteArray& bytes) {
    QFile f(cur + QLatin1Char('/') + name);
    ok = ok && f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
  };
  const QByteArray head = "From: a@example.org\r\nDate: Mon, 02 Mar 2026 10:00:00 +0100\r\nMIME-Version: 1.0\r\n";
  QByteArray parts;
  for (int i = 0; i < 10000; ++i)
    parts += "--b\r\nContent-Type: text/plain\r\nContent-Disposition: attachment; filename=\"p" +
             QByteArray::number(i) + ".txt\"\r\n\r\npart\r\n";
  put(QStringLiteral("1780000001.M1P1.bad:2,S"),
      head + "Subject: Ten thousand parts\r\nContent-Type: multipart/mixed; boundary=\"b\"\r\n\r\n" + parts +
          "--b--\r\n");
  QByteArray open, close;
  for (int i = 0; i < 2000; ++i) {
    open += "Content-Type: multipart/mixed; boundary=\"n" + QByteArray::number(i) + "\"\r\n\r\n--n" +
            QByteArray::number(i) + "\r\n";
    close.prepend("\r\n--n" + QByteArray::number(i) + "--\r\n");
  }
  put(QStringLiteral("1780000002.M1P1.bad:2,S"),
      head + "Subject: Nested deep\r\n" + open + "Content-Type: text/plain\r\n\r\ninner" + close);
  put(QStringLiteral("1780000003.M1P1.bad:2,S"),
      head + "Subject: yEnc absurd\r\n\r\nbefore\r\n=ybegin line=128 size=1400000000 name=huge.bin\r\nabcdefghij\r\n"
             "=yend size=1400000000\r\n");
  put(badMailUndecodable(),
      head + "Subject: yEnc impossible\r\n\r\n=ybegin line=128 size=2147483647 name=x.bin\r\nabc\r\n=yend size=3\r\n");
  QByteArray noise(4096, '\0');
  for (int i = 0; i < noise.size(); ++i) noise[i] = char((i * 7919 + 13) % 251);
  put(badMailNonMails()[0], noise);
  put(badMailNonMails()[1], {});
  return ok;
}

}  // namespace ordolo::test
