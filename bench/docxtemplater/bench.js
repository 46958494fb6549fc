// docxtemplater's side of scripts/bench-word: the same templates (made by
// bench/data/make-templates.sh with "{Field07}" tags and a {#rows} loop) and
// the same values (written by bench_word --write-data) as Ordolo's side,
// output compressed and written to disk. One scenario per process, so that
// maxRSS is that scenario's alone.
//   node bench.js --modules=DIR --scenario=memo|table --data=DIR
//        [--templates=DIR] [--items=N] [--rows=N] --out=DIR
// DIR given to --modules is the node_modules folder holding docxtemplater
// and pizzip (scripts/bench-word installs them outside the source tree).
'use strict';
const fs = require('fs');
const path = require('path');

const args = {};
for (const a of process.argv.slice(2)) {
  const m = /^--([a-z]+)=(.*)$/.exec(a);
  if (!m) throw new Error(`unknown argument ${a}`);
  args[m[1]] = m[2];
}
const Docxtemplater = require(path.join(args.modules, 'docxtemplater'));
const PizZip = require(path.join(args.modules, 'pizzip'));
const templates = args.templates || path.join(__dirname, '..', 'data');
const version = require(path.join(args.modules, 'docxtemplater', 'package.json')).version;

const peakMB = () => process.resourceUsage().maxRSS / 1024;  // kilobytes
const fail = (what) => { console.error(`bench.js: ${what}`); process.exit(2); };

// Text of a document part as the reader sees it.
function textOf(xml) {
  return xml.replace(/<w:tab\/>/g, '\t').replace(/<[^>]*>/g, '')
    .replace(/&lt;/g, '<').replace(/&gt;/g, '>').replace(/&quot;/g, '"').replace(/&apos;/g, "'").replace(/&amp;/g, '&');
}

function render(tplPath, data) {
  const zip = new PizZip(fs.readFileSync(tplPath));
  const doc = new Docxtemplater(zip, { paragraphLoop: true, linebreaks: true });
  doc.render(data);
  return doc.getZip().generate({ type: 'nodebuffer', compression: 'DEFLATE' });
}

function memo() {
  const items = JSON.parse(fs.readFileSync(path.join(args.data, 'memo.json'), 'utf8')).items
    .slice(0, Number(args.items || 1000));
  const tpl = path.join(templates, 'memo-docxtemplater.docx');
  const outDir = path.join(args.out, 'memo-docxtemplater');
  fs.rmSync(outDir, { recursive: true, force: true });
  fs.mkdirSync(outDir, { recursive: true });
  const dataPeak = peakMB();
  const t0 = process.hrtime.bigint();
  let last;
  items.forEach((item, i) => {
    last = path.join(outDir, `memo-${String(i + 1).padStart(4, '0')}.docx`);
    fs.writeFileSync(last, render(tpl, item));
  });
  const seconds = Number(process.hrtime.bigint() - t0) / 1e9;
  const peak = peakMB();

  const zip = new PizZip(fs.readFileSync(last));
  const text = ['word/document.xml', 'word/header1.xml'].map((p) => textOf(zip.file(p).asText())).join('\n');
  for (const [k, v] of Object.entries(items[items.length - 1]))
    if (!text.includes(v)) fail(`${last} lacks the value of ${k}: ${v}`);
  if (text.includes('{Field')) fail(`${last} still holds a tag`);

  console.log(`memo: ${items.length} documents in ${seconds.toFixed(3)} s: ${(items.length / seconds).toFixed(0)} documents/s (docxtemplater ${version})`);
  console.log(`  peak MB ${peak.toFixed(1)} (${dataPeak.toFixed(1)} after reading the values); output checked: ${last}`);
  console.log(`result side=docxtemplater scenario=memo count=${items.length} seconds=${seconds.toFixed(3)} rate=${(items.length / seconds).toFixed(1)} peak_mb=${peak.toFixed(1)}`);
}

function table() {
  const rows = JSON.parse(fs.readFileSync(path.join(args.data, 'table.json'), 'utf8')).rows
    .slice(0, Number(args.rows || 10000));
  const tpl = path.join(templates, 'table-docxtemplater.docx');
  fs.mkdirSync(args.out, { recursive: true });
  const out = path.join(args.out, `table-docxtemplater-${rows.length}.docx`);
  const dataPeak = peakMB();
  const t0 = process.hrtime.bigint();
  fs.writeFileSync(out, render(tpl, { rows }));
  const seconds = Number(process.hrtime.bigint() - t0) / 1e9;
  const peak = peakMB();

  const zip = new PizZip(fs.readFileSync(out));
  let unzipped = 0;
  for (const f of Object.values(zip.files)) if (!f.dir) unzipped += f.asUint8Array().length;
  const xml = zip.file('word/document.xml').asText();
  const trs = (xml.match(/<w:tr[ >]/g) || []).length;
  if (trs !== rows.length + 1) fail(`${out} has ${trs} rows, not ${rows.length + 1}`);
  const text = textOf(xml);
  for (const v of Object.values(rows[rows.length - 1])) if (!text.includes(v)) fail(`${out} lacks ${v}`);

  console.log(`table: ${rows.length} rows in ${seconds.toFixed(3)} s: ${(rows.length / seconds).toFixed(0)} rows/s (docxtemplater ${version})`);
  console.log(`  peak MB ${peak.toFixed(1)} (${dataPeak.toFixed(1)} after reading the values); output unzipped ${(unzipped / 1048576).toFixed(1)} MB`);
  console.log(`result side=docxtemplater scenario=table${rows.length} count=${rows.length} seconds=${seconds.toFixed(3)} rate=${(rows.length / seconds).toFixed(1)} peak_mb=${peak.toFixed(1)} unzipped_mb=${(unzipped / 1048576).toFixed(2)}`);
}

if (args.scenario === 'memo') memo();
else if (args.scenario === 'table') table();
else fail('--scenario=memo|table expected');
