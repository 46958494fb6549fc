#include "template/Eigenschaften.h"

#include "lang/LanguageTable.h"
#include "model/Model.h"
#include "template/ReplacePlaceholder.h"
#include "util/DebugLog.h"
#include "util/Funktionen.h"
#include "util/VbFormat.h"

#include <QStringList>

#include <cmath>

namespace ordolo::tpl {

namespace {

void Debug(const QString& line) {
  if (util::DebugLog::isOn()) util::DebugLog::write(line);
}

bool IsDate(const QVariant& v) {
  const int t = v.userType();
  return t == QMetaType::QDateTime || t == QMetaType::QDate;
}

QDateTime AsDateTime(const QVariant& v) {
  return v.userType() == QMetaType::QDate ? QDateTime(v.toDate(), QTime(0, 0)) : v.toDateTime();
}

// A value as text, the way a variant turns into a string: numbers in the
// user's locale, dates as the general date, lists joined.
QString AsText(const QVariant& v) {
  switch (v.userType()) {
    case QMetaType::UnknownType: return {};
    case QMetaType::Bool: return v.toBool() ? QStringLiteral("True") : QStringLiteral("False");
    case QMetaType::Double:
    case QMetaType::Float: return util::NumberText(v.toDouble());
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort: return v.toString();
    case QMetaType::QDateTime:
    case QMetaType::QDate: return util::Format(AsDateTime(v), QStringLiteral("General Date"));
    case QMetaType::QStringList: return v.toStringList().join(QLatin1String(", "));
    default: return v.toString();
  }
}

// The text the property walk looks for "#" + name in: what the current item
// can still fill.
void FillProperty(Target& target, const model::ItemProperty& p) {
  const QString placeholder = QStringLiteral("#<") + p.Name + QLatin1Char('>');
  switch (p.Type) {
    case model::olOutlookInternal:
    case model::olDateTime: FormatPropertyValue(target, p.Value, p.Name, false); break;
    case model::olText: Put(target, placeholder, TextWithLineBreaks(target, AsText(p.Value)), true); break;
    case model::olNumber:
    case model::olDuration:
    case model::olKeywords:
    case model::olFormula:
    case model::olCombination: Put(target, placeholder, LiteralText(target, AsText(p.Value)), true); break;
    case model::olYesNo:
      Put(target, placeholder, lang::GetLangText(p.Value.toBool() ? QStringLiteral("S34") : QStringLiteral("S35")),
          true);
      break;
    case model::olPercent:
      Put(target, placeholder, util::Format(p.Value.toDouble(), QStringLiteral("Percent")), true);
      break;
    case model::olCurrency:
      Put(target, placeholder, util::Format(p.Value.toDouble(), QStringLiteral("Currency")), true);
      break;
    default:
      Debug(QStringLiteral("ItemProperty .Type??: ") + p.Name + QLatin1Char(' ') + QString::number(p.Type));
      break;
  }
}

// Fills every property whose name follows a "#" in the scan text. Only those
// are read and formatted: an item has hundreds of properties, a template a
// handful of placeholders.
void WalkProperties(Target& target, const QList<model::ItemProperty>& props, const QString& scan) {
  for (const model::ItemProperty& p : props) {
    if (p.Name.isEmpty() || !scan.contains(QLatin1Char('#') + p.Name, Qt::CaseSensitive)) continue;
    // Bodies have their own placeholders, brought in as text, RTF or HTML.
    if (p.Name == QLatin1String("Body") || p.Name == QLatin1String("RTFBody")) {
      Debug(QStringLiteral("ItemProperty skipped: ") + p.Name + QStringLiteral(" 0 body"));
      continue;
    }
    if (!p.Value.isValid()) {
      Debug(QStringLiteral("ItemProperty skipped: ") + p.Name + QStringLiteral(" 0 value could not be read"));
      continue;
    }
    Debug(QStringLiteral("ItemProperty ") + p.Name + QStringLiteral(" = ") + AsText(p.Value));
    FillProperty(target, p);
  }
}

}  // namespace

// A stored text as the replacement reads it: in Word a "^" starts a code,
// so the item's own carets are doubled ("5^2" stays "5^2").
QString LiteralText(const Target& target, QString text) { return target.literal(std::move(text)); }

// Line ends of a stored text become manual line breaks, so that the text
// stays inside the placeholder's paragraph. Files written on Linux carry a
// lone LF.
QString TextWithLineBreaks(const Target& target, QString text) {
  text = LiteralText(target, text);
  text.replace(QLatin1String("\r\n"), QLatin1String("^l"));
  text.replace(QLatin1Char('\r'), QLatin1String("^l"));
  text.replace(QLatin1Char('\n'), QLatin1String("^l"));
  return text;
}

void FillCommonPlaceholders(Target& target, const model::Item& item) {
  const QVariant subject = item.get(QStringLiteral("Subject"));
  if (subject.isValid()) Put(target, QStringLiteral("#<Subject>"), LiteralText(target, AsText(subject)), true);
  const QVariant created = item.get(QStringLiteral("CreationTime"));
  if (IsDate(created)) Put(target, QStringLiteral("#CreationTime"), util::ShortDateTime(AsDateTime(created)), false);
  const QVariant changed = item.get(QStringLiteral("LastModificationTime"));
  if (IsDate(changed))
    Put(target, QStringLiteral("#LastModificationTime"), util::ShortDateTime(AsDateTime(changed)), false);

  const QList<model::ItemProperty> props = item.ItemProperties();
  if (props.isEmpty()) return;

  const QString scan = target.scanText();
  if (!scan.contains(QLatin1Char('#'))) return;
  WalkProperties(target, props, scan);

  // An occurrence of a recurring appointment: fields kept only on the series
  // (user-defined ones especially) are filled from there.
  const model::ObjectPtr parent = item.Parent();
  if (parent && parent->Class() == model::olAppointment) {
    if (auto series = std::dynamic_pointer_cast<model::Item>(parent))
      WalkProperties(target, series->ItemProperties(), scan);
  }
  if (util::DebugLog::isOn()) Debug(QStringLiteral("ItemProperty unresolved: ") + scan);
}

void FormatPropertyValue(Target& target, const QVariant& value, const QString& name, bool dateOnly) {
  QString text;
  if (!IsDate(value)) {
    text = AsText(value);
  } else {
    const QDateTime t = AsDateTime(value);
    if (t.date().year() > 3000) {
      // the store's "no date"
    } else if (dateOnly || t.time() == QTime(0, 0)) {
      text = util::Format(t, QStringLiteral("Short Date"));
    } else {
      text = util::ShortDateTime(t);
    }
  }
  Put(target, QStringLiteral("#<") + name + QLatin1Char('>'), text, true);
}

void FillSensitivity(Target& target, const model::Item& item, const QString& prefix) {
  const QVariant v = item.get(QStringLiteral("Sensitivity"));
  bool ok = false;
  const int sensitivity = v.toInt(&ok);
  if (!v.isValid() || !ok) return;
  // The language text lists public, private, personal, confidential; the
  // numbers of private (2) and personal (1) run the other way.
  int field = 0;
  switch (sensitivity) {
    case 0: field = 1; break;
    case 2: field = 2; break;
    case 1: field = 3; break;
    case 3: field = 4; break;
    default: return;
  }
  Put(target, QLatin1Char('#') + prefix + QStringLiteral("Sensitivity"),
      util::GetField(lang::GetLangText(QStringLiteral("S31")), QStringLiteral("/"), field), false);
}

QString FillImportance(Target& target, const model::Item& item, const QString& prefix) {
  const QVariant v = item.get(QStringLiteral("Importance"));
  QString text;
  if (v.isValid()) {
    switch (v.toInt()) {
      case 2: text = QStringLiteral("!"); break;
      case 0: text = QStringLiteral("-"); break;
      default: break;
    }
  }
  Put(target, QStringLiteral("#<") + prefix + QStringLiteral("I>"), text, true);
  return text;
}

QString DurationText(int m) {
  const QString units = lang::GetLangText(QStringLiteral("S38"));
  const auto unit = [&](int n) { return QLatin1Char(' ') + util::GetField(units, QStringLiteral("/"), n); };
  const auto number = [](double x) { return util::NumberText(x, util::userLocale()); };
  const auto oneDecimal = [&](double x) { return number(std::round(x * 10.0) / 10.0); };

  if (m == 0) return QStringLiteral("0") + unit(4);
  if (m % 1440 == 0) return m == 1440 ? QStringLiteral("1") + unit(5) : number(m / 1440) + unit(6);
  if ((m + 720) % 1440 == 0) return oneDecimal(m / 1440.0) + unit(6);
  if ((m + 30) % 60 == 0 && m >= 90) return oneDecimal(m / 60.0) + unit(4);
  if (m % 60 == 0 && m >= 120) return number(m / 60) + unit(4);
  if (m == 1) return QStringLiteral("1") + unit(1);
  if (m == 60) return QStringLiteral("1") + unit(3);
  return number(m) + unit(2);
}

void FillLinkedContacts(Target& target, const model::Item& item) {
  QString names;
  QString withAddresses;
  for (const model::Link& link : item.Links()) {
    if (!link.Item) continue;  // the contact is gone
    const QString fullName = link.Item->text(QStringLiteral("FullName"));
    const QString email = link.Item->text(QStringLiteral("Email1Address"));
    names += fullName + QStringLiteral(", ");
    if (email == fullName) withAddresses += fullName + QStringLiteral(", ");
    else withAddresses += fullName + QStringLiteral(" <") + email + QStringLiteral(">, ");
  }
  names.chop(2);
  withAddresses.chop(2);
  Put(target, QStringLiteral("#ContactWithEmails"), withAddresses, false);
  Put(target, QStringLiteral("#ContactNames"), names, false);
  Put(target, QStringLiteral("#Contacts"), names, false);
}

void FillRecipients(Target& target, const model::Item& item) {
  enum { To, CC, BCC, All };
  QString names[4];
  QString full[4];
  for (const model::Recipient& r : item.Recipients()) {
    // An address the mail program quoted as a display name: 'anna@example.org'
    QString name = r.Name;
    if (name.startsWith(QLatin1Char('\'')) && name.contains(QLatin1Char('@'))) {
      name.remove(0, 1);
      if (name.endsWith(QLatin1Char('\''))) name.chop(1);
    }
    const QString nameEntry = name + QStringLiteral("; ");
    const QString fullEntry = r.Name == QLatin1Char('\'') + r.Address + QLatin1Char('\'')
                                  ? r.Address + QStringLiteral("; ")
                                  : name + QStringLiteral(" <") + r.Address + QStringLiteral(">; ");
    int list = -1;
    switch (r.Type) {
      case model::olTo: list = To; break;
      case model::olCC: list = CC; break;
      case model::olBCC: list = BCC; break;
      default: break;
    }
    if (list >= 0) {
      names[list] += nameEntry;
      full[list] += fullEntry;
    }
    if (r.Type != 0) {
      names[All] += nameEntry;
      full[All] += fullEntry;
    }
  }
  for (int i = 0; i < 4; ++i) {
    names[i].chop(2);
    full[i].chop(2);
  }
  Put(target, QStringLiteral("#<HRecipientsTo>"), full[To], true);
  Put(target, QStringLiteral("#<HRecipientsCC>"), full[CC], true);
  Put(target, QStringLiteral("#<HRecipientsBCC>"), full[BCC], true);
  Put(target, QStringLiteral("#<HRecipients>"), full[All], true);
  Put(target, QStringLiteral("#<RecipientsTo>"), names[To], true);
  Put(target, QStringLiteral("#<RecipientsCC>"), names[CC], true);
  Put(target, QStringLiteral("#<RecipientsBCC>"), names[BCC], true);
  Put(target, QStringLiteral("#<Recipients>"), names[All], true);
}

void FillRunHeader(Target& target, const RunHeader& header) {
  Put(target, QStringLiteral("#<User>"), header.User, true);
  Put(target, QStringLiteral("#<Caption>"), header.Caption, true);
  Put(target, QStringLiteral("#<Folder>"), header.Folder, true);
  Put(target, QStringLiteral("#<SelStart>"), header.SelStart, true);
  Put(target, QStringLiteral("#<SelEnd>"), header.SelEnd, true);
}

}  // namespace ordolo::tpl
