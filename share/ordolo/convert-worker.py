#!/usr/bin/python3
# Ordolo's warm converter: one LibreOffice kept running, driven over UNO.
#
#   convert-worker.py SOFFICE PROFILE_URL PIPE_NAME [START_SECONDS]
#
# Starts SOFFICE headless with its own profile, listening on a named pipe,
# connects to it and then answers one request per line on standard input:
#
#   pdf<TAB>INPUT<TAB>OUTPUT    ->  "ok" or "error<TAB>reason"
#   pages<TAB>INPUT<TAB>OUTPUT  ->  "ok<TAB>START,START,..." or "error<TAB>reason"
#
# "pages" also says, for each page of the PDF, where the page begins in the
# document's longest table: the row's index (from 0) when the page starts
# with that row whole, "-" when it starts inside a row or another table,
# "t" outside any table. A long table is converted in parts that way.
#
# INPUT is loaded hidden and read-only and stored as a PDF at OUTPUT (Writer
# or Calc export by the kind of document). "ready" is written once
# LibreOffice answers; end of input ends LibreOffice and the worker. The
# caller runs this in a process group of its own, so that a hang is ended
# by killing the group (LibreOffice included).
import os
import re
import signal
import subprocess
import sys
import threading
import time

import uno
from com.sun.star.beans import PropertyValue


def prop(name, value):
    p = PropertyValue()
    p.Name = name
    p.Value = value
    return p


def url(path):
    return uno.systemPathToFileUrl(os.path.abspath(path))


def say(line):
    sys.stdout.write(line + "\n")
    sys.stdout.flush()


def connect(pipe, office, seconds):
    local = uno.getComponentContext()
    resolver = local.ServiceManager.createInstanceWithContext("com.sun.star.bridge.UnoUrlResolver", local)
    deadline = time.monotonic() + seconds
    while True:
        try:
            return resolver.resolve("uno:pipe,name=%s;urp;StarOffice.ComponentContext" % pipe)
        except Exception:
            if office.poll() is not None:
                raise RuntimeError("LibreOffice ended with status %d while starting" % office.returncode)
            if time.monotonic() > deadline:
                raise RuntimeError("LibreOffice did not answer within %d s" % seconds)
            time.sleep(0.05)


def page_start(cursor, table, page):
    cell = cursor.Cell
    if cell is None:
        return "t"
    here = cursor.TextTable
    found = re.match(r"^[A-Z]+([0-9]+)$", cell.CellName)
    if here is None or here.Name != table.Name or found is None:
        return "-"
    row = int(found.group(1)) - 1
    # The row's first cell begins on this page: the row is not continued
    # from the page before.
    cursor.gotoRange(table.getCellByName("A%d" % (row + 1)).getStart(), False)
    return str(row) if cursor.getPage() == page else "-"


def page_starts(doc):
    tables = doc.getTextTables()
    longest = None
    for i in range(tables.getCount()):
        t = tables.getByIndex(i)
        if longest is None or t.getRows().getCount() > longest.getRows().getCount():
            longest = t
    cursor = doc.getCurrentController().getViewCursor()
    cursor.jumpToLastPage()
    count = cursor.getPage()
    starts = []
    for page in range(1, count + 1):
        cursor.jumpToPage(page)
        cursor.jumpToStartOfPage()
        starts.append("t" if longest is None else page_start(cursor, longest, page))
    return ",".join(starts)


def to_pdf(desktop, source, target, pages=False):
    doc = desktop.loadComponentFromURL(url(source), "_blank", 0,
                                       (prop("Hidden", True), prop("ReadOnly", True)))
    if doc is None:
        raise RuntimeError("LibreOffice cannot open the file")
    try:
        calc = doc.supportsService("com.sun.star.sheet.SpreadsheetDocument")
        starts = page_starts(doc) if pages and not calc else ""
        doc.storeToURL(url(target), (prop("FilterName", "calc_pdf_Export" if calc else "writer_pdf_Export"),))
        return starts
    finally:
        doc.close(True)


def end_group():
    # The worker leads its own process group: LibreOffice goes with it.
    os.killpg(os.getpgrp(), signal.SIGKILL)


def watch_parent(parent):
    # The program that started this worker was killed: nothing will read
    # the answers any more, and a LibreOffice stuck on a document would stay.
    while True:
        time.sleep(1)
        if os.getppid() != parent:
            end_group()


def main():
    if len(sys.argv) not in (4, 5):
        sys.stderr.write("usage: convert-worker.py SOFFICE PROFILE_URL PIPE_NAME [START_SECONDS]\n")
        return 2
    program, profile, pipe = sys.argv[1:4]
    threading.Thread(target=watch_parent, args=(os.getppid(),), daemon=True).start()
    seconds = int(sys.argv[4]) if len(sys.argv) == 5 else 60
    office = subprocess.Popen([program, "--headless", "--invisible", "--nologo", "--norestore", "--nodefault",
                               "--nolockcheck", "--nofirststartwizard", "-env:UserInstallation=" + profile,
                               "--accept=pipe,name=%s;urp;StarOffice.ComponentContext" % pipe],
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        context = connect(pipe, office, seconds)
        desktop = context.ServiceManager.createInstanceWithContext("com.sun.star.frame.Desktop", context)
    except Exception as e:
        say("error\t%s" % str(e).replace("\n", " "))
        end_group()
        return 1
    say("ready")
    for line in sys.stdin:
        parts = line.rstrip("\n").split("\t")
        if len(parts) != 3 or parts[0] not in ("pdf", "pages"):
            say("error\tnot understood: %s" % line.strip())
            continue
        try:
            starts = to_pdf(desktop, parts[1], parts[2], parts[0] == "pages")
            say("ok\t" + starts if parts[0] == "pages" else "ok")
        except Exception as e:
            message = getattr(e, "Message", "") or str(e) or type(e).__name__
            say("error\t%s" % message.replace("\n", " ").replace("\t", " "))
    try:
        desktop.terminate()
    except Exception:
        pass
    try:
        office.wait(10)
    except subprocess.TimeoutExpired:
        pass
    sys.stdout.flush()
    end_group()
    return 0


if __name__ == "__main__":
    # However the worker ends (its reader gone mid-answer included), no
    # LibreOffice of its group is left behind.
    try:
        main()
    finally:
        end_group()
