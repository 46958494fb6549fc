// Whole-file reading and writing, and the text decoding every file reader shares.
#pragma once

#include <QByteArray>
#include <QString>

namespace ordolo::util {

// Decodes file bytes: UTF-8 (a BOM is dropped) when the bytes are valid UTF-8,
// UTF-16 when they start with a UTF-16 BOM, else Windows-1252 (files written by
// 8-bit Windows programs).
QString decodeText(const QByteArray& bytes);

// True when the bytes are well-formed UTF-8 (no overlong forms, no surrogates).
bool isValidUtf8(const QByteArray& bytes);

// Windows-1252 to Unicode; the five undefined bytes map to the C1 controls.
QString fromWindows1252(const QByteArray& bytes);

// The whole file as bytes; empty on any error.
QByteArray ReadWholeFileBytes(const QString& path);

// The whole file as text (see decodeText); empty on any error.
QString ReadWholeFile(const QString& path);

// Replaces a file's contents with `text` in UTF-8.
// binary: the text is written from the first byte on without truncating, so a
// longer old file keeps its tail. Otherwise the file is truncated and the text
// is written followed by CR LF. Returns false when the file cannot be written.
bool WriteWholeFile(const QString& path, const QString& text, bool binary);

}  // namespace ordolo::util
