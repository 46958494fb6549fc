// The mail renderer on a real Word document (tests/data/word/mail.docx) with
// mails read by the store from real message files, and the HTML body
// brought in through LibreOffice.
#include <gtest/gtest.h>

#include <QDirIterator>
#include <QTemporaryDir>

#include "attachments/AttachmentQueue.h"
#include "lang/LanguageTable.h"
#include "office/Package.h"
#include "office/convert/Converter.h"
#include "office/word/Document.h"
#include "renderers/Dispatch.h"
#include "renderers/Mail.h"
#include "store/FileStore.h"
#include "support/FakeItem.h"
#include "support/ScriptedPort.h"
#include "support/TempCleanup.h"
#include "support/TestEnv.h"
#include "template/AttachmentsAndBody.h"
#include "template/HtmlInsert.h"
#include "template/WordTarget.h"
#include "util/Folders.h"
#include "util/VbFormat.h"

using namespace ordolo;
using namespace ordolo::test;
namespace word = ordolo::office::word;

namespace {

const QByteArray kPng = QByteArray::fromBase64(
    "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8DwHwAFBQIAX8jx0gAAAABJRU5ErkJggg==");

// Records what is printed; the waits are not what these tests look at.
class RecordingSystem : public attachments::PrintSystem {
 public:
  Result print(const QString& file) override {
    printed << file;
    return {Outcome::Printed, 0, {}};
  }
  bool connect() override { return false; }
  std::optional<QStringList> jobNames() override { return std::nullopt; }
  QStringList printed;
};

class MailFill : public ::testing::Test {
 protected:
  void SetUp() override {
    lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/English.txt"));
    util::setUserLocale(QLocale(QLocale::English, QLocale::UnitedStates));
    st.LastStartDate = QDateTime(QDate(3000, 1, 1), QTime(0, 0));
    st.GroupKey = st.PrevGroupKey = QStringLiteral("z#@");
    st.ItemCounter = 1;
  }
  void TearDown() override { util::setUserLocale(util::localeFromEnvironment()); }

  // A fresh copy of the test document as the target, the run state kept.
  void open() {
    office::Error error;
    doc = word::Document::create(QStringLiteral(ORDOLO_TEST_DATA "/word/mail.docx"), &error);
    ASSERT_TRUE(doc) << error.debugText().toStdString();
    target = std::make_unique<tpl::WordTarget>(*doc);
  }
  void render(const model::ItemPtr& item) {
    open();
    ++st.ItemCounter;
    renderers::RenderContext ctx{st, *target, item, report, nullptr, attachments.queue ? &attachments : nullptr};
    renderers::Render(renderers::Renderer::Mail, ctx);
  }
  // The text of the paragraph that starts with `start`.
  QString line(const QString& start) const {
    for (const QString& p : doc->contentText().split(QLatin1Char('\r')))
      if (p.startsWith(start)) return p;
    return QStringLiteral("<none>");
  }

  // Mails as message files in a folder of the home's store.
  model::ItemPtr mail(const QByteArray& message, const QString& folder = QStringLiteral("Inbox")) {
    writeFile(home.filePath("store/" + folder + "/m" + QString::number(++files) + ".eml"), message);
    QString why;
    store = store::FileStore::open(home.filePath("store"), &why);
    EXPECT_TRUE(store) << why.toStdString();
    if (!store) return nullptr;
    auto items = store->folderByPath(folder)->GetItems()->all();
    for (const auto& item : items)
      if (item->EntryID().contains("m" + QString::number(files))) return item;
    return items.empty() ? nullptr : items.back();
  }

  QTemporaryDir home;
  ScopedEnv homeEnv{"ORDOLO_HOME", home.path().toUtf8()};
  std::shared_ptr<store::FileStore> store;
  int files = 0;
  std::unique_ptr<word::Document> doc;
  std::unique_ptr<tpl::WordTarget> target;
  tpl::RunState st;
  renderers::StateReporter report{st};
  tpl::AttachmentPrinting attachments;
};

QDateTime At(int y, int mo, int d, int h, int mi) { return {QDate(y, mo, d), QTime(h, mi)}; }

std::shared_ptr<FakeItem> Mail(const QDateTime& received, int importance = 1) {
  auto m = FakeItem::make(model::olMail);
  m->set("Subject", "Budget")
      .set("SenderName", "Anna Berger")
      .set("SenderEmailAddress", "anna@example.org")
      .set("To", "Bob")
      .set("ReceivedTime", received, model::olDateTime)
      .set("CreationTime", received, model::olDateTime)
      .set("Submitted", true, model::olYesNo)
      .set("Importance", importance, model::olNumber);
  m->entryId = received.toString();
  return m;
}

}  // namespace

TEST_F(MailFill, OneDayHeadingPerDayAndBreaksOnlyBetweenDays) {
  render(Mail(At(2026, 3, 16, 10, 30)));
  // The first item opens the day but breaks nothing.
  EXPECT_EQ(line("Break"), "Break [] page []");
  EXPECT_EQ(line("Day"), "Day [Monday, 16. March 2026|Mon|Mon 3/16/2026|3/16/2026]");
  EXPECT_EQ(
      line("Times"),
      "Times [10:30 AM|10:30 AM|10:30 AM|Monday, 16. March 2026 10:30 AM|Mon|Mon 3/16/2026 10:30 AM|3/16/2026 10:30 AM]");

  // The same day: no heading, no break, the times still there.
  render(Mail(At(2026, 3, 16, 17, 5)));
  EXPECT_EQ(line("Break"), "Break [] page []");
  EXPECT_EQ(line("Day"), "Day [|||]");
  EXPECT_TRUE(line("Times").startsWith("Times [5:05 PM|")) << line("Times").toStdString();

  // A new day after the first item: a paragraph, and a page for #PAGEBREAK.
  render(Mail(At(2026, 3, 17, 8, 0)));
  EXPECT_TRUE(doc->contentText().startsWith("Break [\r] page [\r\f]")) << doc->contentText().toStdString();
  EXPECT_EQ(line("Day"), "Day [Tuesday, 17. March 2026|Tue|Tue 3/17/2026|3/17/2026]");

  // In a list sorted by a column, the same day in another group breaks.
  st.Grouped = true;
  st.PrevGroupKey = "20260317";
  st.GroupKey = "20260318";
  render(Mail(At(2026, 3, 17, 9, 0)));
  EXPECT_TRUE(doc->contentText().startsWith("Break [\r]")) << doc->contentText().toStdString();
  EXPECT_EQ(line("Day"), "Day [|||]");
}

TEST_F(MailFill, SenderRecipientsAndStatusOfReceivedDraftAndReportItems) {
  auto received = Mail(At(2026, 3, 2, 8, 14), 2);
  received->set("RemoteStatus", 3, model::olNumber).set("Size", 2177, model::olNumber).set("Categories", "Falcon");
  received->set("Sensitivity", 2, model::olNumber);
  received->recipients.push_back({"Bob", "bob@example.com", model::olTo});
  render(received);
  EXPECT_EQ(line("Imp"), "Imp [!] sender [Anna Berger <anna@example.org>] to [Bob]");
  EXPECT_EQ(line("From"), "From: [Anna Berger]");
  EXPECT_EQ(line("State"), "State [C] size [2177] sens [Private] cat [Falcon]");
  EXPECT_EQ(line("Rec"), "Rec [Bob]");

  // A draft: not sent, so "?" for normal importance, and whom it goes to.
  auto draft = Mail(At(2026, 3, 3, 9, 0));
  draft->set("ReceivedTime", model::NoDate(), model::olDateTime).set("Submitted", false, model::olYesNo);
  draft->set("SenderEmailAddress", "Anna Berger");
  render(draft);
  EXPECT_EQ(line("Imp"), "Imp [?] sender [Anna Berger] to [Bob]");
  EXPECT_EQ(line("To:"), "To: [Bob]");
  // ... but a draft marked important keeps its "!".
  draft->set("Importance", 2, model::olNumber);
  render(draft);
  EXPECT_TRUE(line("Imp").startsWith("Imp [!]"));

  // A draft without recipients names its sender under "From".
  draft->set("To", "");
  render(draft);
  EXPECT_EQ(line("From"), "From: [Anna Berger]");

  // A delivery report names neither sender nor recipient.
  auto deliveryReport = FakeItem::make(model::olReport);
  deliveryReport->set("SenderName", "Mail Delivery System")
      .set("ReceivedTime", At(2026, 3, 16, 17, 5), model::olDateTime);
  render(deliveryReport);
  EXPECT_EQ(line("From"), "From: [-]");
  // A received mail whose sender is unknown falls back to its first recipient.
  auto anonymous = Mail(At(2026, 3, 18, 9, 0));
  anonymous->set("SenderName", "");
  anonymous->recipients.push_back({"Carla", "carla@example.com", model::olCC});
  render(anonymous);
  EXPECT_EQ(line("From"), "From: [Carla]");
}

TEST_F(MailFill, HeaderLinesTakeTheFirstOfARepeatedHeaderUnfoldedAndDecoded) {
  const QString headers = QStringLiteral(
      "Received: from relay2.example.net by mx.example.org; Mon, 16 Mar 2026 10:30:02 +0100\r\n"
      "Received: from sender.example.com by relay2.example.net;\r\n"
      "\tMon, 16 Mar 2026 10:30:01 +0100\r\n"
      "From: Anna <anna@example.org>\r\n"
      "Subject: =?UTF-8?Q?R=C3=A9union_=C3=A0?=\r\n"
      " Lyon\r\n"
      "mime-version: 1.0\r\n"
      "X-MSMail-Priority: High\r\n");
  EXPECT_EQ(renderers::MailHeaderValue(headers, "Received"),
            "from relay2.example.net by mx.example.org; Mon, 16 Mar 2026 10:30:02 +0100");
  EXPECT_EQ(renderers::MailHeaderValue(headers, "Subject"), QString::fromUtf8("Réunion à Lyon"));
  EXPECT_EQ(renderers::MailHeaderValue(headers, "Sender"), "");

  auto m = Mail(At(2026, 3, 16, 10, 30));
  m->set("TransportMessageHeaders", headers, model::olOutlookInternal);
  render(m);
  EXPECT_EQ(line("Lines"), QString::fromUtf8("Lines [from relay2.example.net by mx.example.org; Mon, 16 Mar 2026 "
                                             "10:30:02 +0100|Anna <anna@example.org>|Réunion à Lyon|1.0|High|]"));
  // The whole block stays one paragraph, its lines kept as line breaks.
  const QString block = line("Header");
  EXPECT_TRUE(block.startsWith("Header [Received: from relay2")) << block.toStdString();
  EXPECT_EQ(block.count(QChar('\v')), 7) << block.toStdString();

  // A megabyte of header prints as well.
  QString huge = QStringLiteral("From: x@example.org\r\n");
  while (huge.size() < 1024 * 1024) huge += QStringLiteral("X-Filler: ") + QString(70, QChar('a')) + "\r\n";
  m->set("TransportMessageHeaders", huge, model::olOutlookInternal);
  render(m);
  EXPECT_GT(line("Header").size(), 1000 * 1000);
  EXPECT_TRUE(line("Lines").contains("|x@example.org|"));
}

TEST_F(MailFill, AttachmentsAreListedAndQueuedUnderSafeNamesInTheTemporaryFolder) {
  auto m = Mail(At(2026, 3, 5, 11, 2));
  m->set("HTMLBody", "<p><img src=\"cid:logo@x\"></p>");
  m->attachments.emplace_back("../../Offer.pdf", "application/pdf", "", 5, [] { return QByteArray("%PDF-"); });
  m->attachments.emplace_back("", "text/plain", "", 3, [] { return QByteArray("abc"); });
  m->attachments.emplace_back("Signature.GIF", "image/gif", "", 3, [] { return QByteArray("GIF"); });
  m->attachments.emplace_back("empty.txt", "text/plain", "", 0, [] { return QByteArray(); });
  m->attachments.emplace_back("Offer.pdf", "application/pdf", "", 6, [] { return QByteArray("%PDF-2"); });
  m->attachments.emplace_back("logo.png", "image/png", "logo@x", kPng.size(), [] { return kPng; });

  RecordingSystem system;
  ScriptedPort port;
  attachments::Options options;
  options.suppress = QStringLiteral(" signature.gif , signatur.jpg");
  attachments::AttachmentQueue queue(system, port, options);
  attachments.queue = &queue;
  render(m);

  // The inline picture belongs to the body, not to the attachments.
  EXPECT_EQ(line("Att"), "Att [Offer.pdf; attachment; Signature.GIF; empty.txt; Offer.pdf] n [5]");
  EXPECT_EQ(line("List"),
            "List [Offer.pdf (5 bytes)\vattachment (3 bytes)\vSignature.GIF (3 bytes)\vempty.txt (0 bytes)\v"
            "Offer.pdf (6 bytes)]");

  // Suppressed and empty ones are not printed; the rest are saved under the
  // creation time, inside the temporary folder, names never clashing.
  const QString temp = util::TempFolder();
  const QStringList expected{temp + "20260305-1102_Offer.pdf", temp + "20260305-1102_attachment",
                             temp + "20260305-1102_Offer (2).pdf"};
  ASSERT_EQ(queue.files(), expected);
  EXPECT_EQ(readFile(expected[0]), "%PDF-");
  EXPECT_EQ(readFile(expected[2]), "%PDF-2");

  // A label template fills the item again: its attachments are queued once.
  render(m);
  EXPECT_EQ(queue.files().size(), 3);
  queue.PrintAttachmentQueue(QString(), true);
  EXPECT_EQ(system.printed, expected);
  EXPECT_TRUE(queue.empty());
  for (const QString& f : expected) QFile::remove(f);
}

TEST(HtmlSafety, NothingThatReachesOutsideTheMessageSurvives) {
  const QStringList allowed{"file:///home/u/.local/share/ordolo/AttachmentsOrdolo/20260303-0730_logo.png"};
  const QString html = QStringLiteral(
      "<html><head><meta charset=\"iso-8859-1\"><link rel=stylesheet href=\"http://evil.example/x.css\">"
      "<style>@import url(http://evil.example/y.css); body { background: url('https://evil.example/bg.png') }"
      " p { color: red }</style><base href=\"http://evil.example/\"></head>"
      "<body background=\"http://evil.example/b.png\" onload=\"steal()\">"
      "<p>Hello <b>there</b> &amp; 5 < 6</p>"
      "<script type=\"text/javascript\">document.write('<img src=http://evil.example/s.gif>')</script>"
      "<img src=\"https://tracker.example.com/open.gif\" alt=\"[tracker <x>]\" width=1>"
      "<img src='file:///etc/passwd'><img src=\"cid:nothing@here\">"
      "<img src=\"file:///home/u/.local/share/ordolo/AttachmentsOrdolo/20260303-0730_logo.png\" width=\"40\">"
      "<img src=\"data:image/png;base64,iVBORw0KGgo=\">"
      "<!--[if mso]><img src=\"http://evil.example/mso.gif\"><![endif]-->"
      "<iframe src=\"http://evil.example/frame\">fallback</iframe><object data=\"x.swf\"></object>"
      "<div style=\"background-image:url(http://evil.example/d.png);color:blue\">Div</div>"
      "<a href=\"java&#x09;script:steal()\">js</a><a href=' VBScript&colon;steal'>vb</a>"
      "<a href=\"https://example.com/more\">more</a><SCRIPT>unclosed");
  const QString safe = tpl::SanitizeHtml(html, allowed);
  for (const char* gone : {"evil.example", "tracker.example.com", "/etc/passwd", "cid:", "steal", "document.write",
                           "<iframe", "fallback", "<object", "<base", "<link", "iso-8859-1", "unclosed"})
    EXPECT_FALSE(safe.contains(QLatin1String(gone), Qt::CaseInsensitive)) << gone << "\n" << safe.toStdString();
  for (const char* kept : {"<p>Hello <b>there</b> &amp; 5 &lt; 6</p>", "[tracker &lt;x&gt;]",
                           "src=\"file:///home/u/.local/share/ordolo/AttachmentsOrdolo/20260303-0730_logo.png\"",
                           "src=\"data:image/png;base64,iVBORw0KGgo=\"", "p { color: red }", "color:blue\">Div</div>",
                           "<a href=\"https://example.com/more\">more</a>", "charset=utf-8"})
    EXPECT_TRUE(safe.contains(QLatin1String(kept))) << kept << "\n" << safe.toStdString();
}

TEST(AttachmentNames, PathsAndOddCharactersNeverLeaveTheFolder) {
  EXPECT_EQ(tpl::SafeAttachmentName("../../x"), "x");
  EXPECT_EQ(tpl::SafeAttachmentName("C:\\Users\\a\\report.pdf"), "report.pdf");
  EXPECT_EQ(tpl::SafeAttachmentName(".."), "attachment");
  EXPECT_EQ(tpl::SafeAttachmentName(".bashrc"), "bashrc");
  EXPECT_EQ(tpl::SafeAttachmentName(QString("a\nb\tc.txt")), "abc.txt");
  const QString longName = tpl::SafeAttachmentName(QString(300, QChar(0xE4)) + ".pdf");
  EXPECT_TRUE(longName.endsWith(".pdf"));
  EXPECT_LE(longName.toUtf8().size(), 200);
}

// The HTML body with its inline picture, through LibreOffice, from a message
// file the store reads.
TEST_F(MailFill, TheHtmlBodyBringsItsInlinePictureAndNothingElse) {
  const QByteArray message =
      "From: =?UTF-8?Q?M=C3=BCller?= <news@example.com>\n"
      "To: Anna <anna@example.org>\n"
      "Subject: News\n"
      "Date: Tue, 03 Mar 2026 07:30:00 +0100\n"
      "MIME-Version: 1.0\n"
      "Content-Type: multipart/related; boundary=\"b1\"\n"
      "\n"
      "--b1\n"
      "Content-Type: text/html; charset=iso-8859-1\n"
      "Content-Transfer-Encoding: quoted-printable\n"
      "\n"
      "<html><body><p>Gr=FC=DFe from the shop <img src=3D\"cid:logo@x\" width=3D\"40\"></p>"
      "<img src=3D\"http://tracker.example.com/t.gif\" alt=3D\"\"><script>alert('x')</script>"
      "<img src=3D\"file:///etc/hostname\"><p>Second paragraph</p></body></html>\n"
      "--b1\n"
      "Content-Type: image/png; name=\"../../logo.png\"\n"
      "Content-ID: <logo@x>\n"
      "Content-Transfer-Encoding: base64\n"
      "\n" +
      kPng.toBase64() +
      "\n"
      "--b1--\n";
  model::ItemPtr item = mail(message);
  ASSERT_TRUE(item);
  ASSERT_EQ(item->number("BodyFormat"), 2);

  office::convert::Converter converter;
  if (converter.program().isEmpty()) GTEST_SKIP() << "LibreOffice is not installed";
  open();
  doc->setImporter([&](const QString& file, office::Error* why) {
    const auto r = converter.toDocx(file, util::TempFolder() + "imported.docx");
    if (!r.ok()) *why = r.error;
    return r.output;
  });
  ++st.ItemCounter;
  renderers::RenderContext ctx{st, *target, item, report};
  renderers::Render(renderers::Renderer::Mail, ctx);

  const QString text = doc->contentText();
  EXPECT_TRUE(text.contains(QString::fromUtf8("Grüße from the shop"))) << text.toStdString();
  EXPECT_TRUE(text.contains("Second paragraph\rEnd")) << text.toStdString();
  EXPECT_FALSE(text.contains("#HTMLBody"));
  EXPECT_FALSE(text.contains("alert"));

  // The picture was saved under the data folder, named by the mail's time,
  // and is part of the document now, not a link to that file.
  const QString saved = util::DataFolder() + "AttachmentsOrdolo/" +
                        util::Format(item->date("CreationTime"), "yyyyMMdd-hhnn") + "_logo.png";
  EXPECT_EQ(readFile(saved), kPng);
  const QString out = home.filePath("filled.docx");
  office::Error why;
  ASSERT_TRUE(doc->saveAs(out, &why)) << why.debugText().toStdString();
  QString reason;
  auto pkg = office::Package::open(out, &reason);
  ASSERT_TRUE(pkg);
  const QByteArray rels = pkg->read("word/_rels/document.xml.rels", &reason).value_or(QByteArray());
  EXPECT_FALSE(rels.contains("file:")) << rels.toStdString();
  EXPECT_FALSE(rels.contains("tracker")) << rels.toStdString();
  const QByteArray body = pkg->read("word/document.xml", &reason).value_or(QByteArray());
  EXPECT_TRUE(body.contains("r:embed")) << body.left(4000).toStdString();
  EXPECT_FALSE(body.contains("r:link"));
  // Nothing was written outside the home and the temporary folder.
  EXPECT_FALSE(QFileInfo::exists(util::DataFolder() + "../logo.png"));
  EXPECT_FALSE(QFileInfo::exists(util::TempFolder() + "body.html"));

  // A text mail in the same template: its text goes where the HTML would.
  auto plain = Mail(At(2026, 3, 4, 9, 0));
  plain->set("Body", "First line\r\nSecond line\r\n\r\n").set("BodyFormat", 1, model::olNumber);
  render(plain);
  EXPECT_EQ(line("First"), "First line\vSecond line");
}
