// The build of the pages: what is wrong in the catalogues is told and nothing is written; what a change of a layout,
// a text or the settings does; a new language.

import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, before, test } from "node:test";
import { fileURLToPath } from "node:url";

const sources = path.join(path.dirname(fileURLToPath(import.meta.url)), "../../pages");
const built = path.join(process.env.HOTSPOT_BUILD_DIR, "share/hotspot");

let top;
before(() => { top = fs.mkdtempSync(path.join(os.tmpdir(), "hotspot-pages-build-")); });
after(() => fs.rmSync(top, { recursive: true, force: true }));

// Builds a copy of the sources, changed by `edit`, which gets a function (file, change).
function build(edit) {
  const dir = fs.mkdtempSync(path.join(top, "copy-"));
  fs.cpSync(sources, dir, { recursive: true, filter: (name) => path.basename(name) !== "node_modules" });
  edit((file, change) => {
    const name = path.join(dir, file);
    const text = fs.existsSync(name) ? fs.readFileSync(name, "utf8") : "";
    const changed = change(text);
    assert.notEqual(changed, text, `${file} was to be changed`);
    fs.writeFileSync(name, changed);
  });
  const out = path.join(dir, "out");
  const ran = spawnSync(process.execPath, [path.join(dir, "build.mjs"), path.join(out, "pages"), path.join(out, "optional-pages")],
    { encoding: "utf8", env: { ...process.env, HOTSPOT_NPM_DIR: process.env.HOTSPOT_PAGES_NPM_DIR } });
  const read = (name) => fs.readFileSync(path.join(out, "pages", name), "utf8");
  return { status: ran.status, told: ran.stderr.trim().replaceAll(`${dir}/`, ""), out, read };
}

const without = (id) => (text) => text.replace(new RegExp(`(#\\. .*\\n)*msgid "${id}"\\nmsgstr ".*"\\n`), "");
const withText = (id, to) => (text) => text.replace(new RegExp(`(msgid "${id}"\\nmsgstr) ".*"`), `$1 "${to}"`);
const withEntry = (id, text) => (all) => `${all}\nmsgid "${id}"\nmsgstr "${text}"\n`;

const mistakes = [
  ["a text that is missing in a language", "texts/lv.po", without("login.title"), /^texts\/lv\.po: "login\.title" is missing: "Log in"$/],
  ["a text that is missing everywhere", "layout/set.njk", (text) => text.replace("set.title", "set.titel"),
    /en\.po: "set\.titel" is missing, which a layout asks for/],
  ["a text that no layout uses", "texts/en.po", withEntry("login.nothing", "Nothing"), /: "login\.nothing" is missing: "Nothing"/],
  ["a text of a translation that is none of the source", "texts/fr.po", withEntry("login.extra", "Rien"), /fr\.po:\d+: "login\.extra" is not a text of en\.po/],
  ["a text that stands twice", "texts/de.po", withEntry("login.title", "Noch einmal"), /de\.po:\d+: "login\.title" is there already, on line \d+/],
  ["a placeholder that is missing", "texts/ja.po", withText("set.idle", "x"), /ja\.po:\d+: "set\.idle" has the placeholders \{\}, the English text has \{time\}/],
  ["a placeholder of another name", "texts/es.po", withText("set.idle", "x {zeit}"), /\{zeit\}, the English text has \{time\}/],
  ["a placeholder that a layout does not give", "layout/set.njk", (text) => text.replace("{ time:", "{ tyme:"), /"set\.idle" has the placeholders \{time\}, a layout gives \{tyme\}/],
  ["an empty text", "texts/ar.po", withText("login.title", ""), /ar\.po:\d+: "login\.title" has no text/],
  ["a text that is marked fuzzy", "texts/de.po", (text) => text.replace("msgid \"login.title\"", "#, fuzzy\nmsgid \"login.title\""), /"login\.title" is marked fuzzy/],
  ["a percent sign in a text", "texts/de.po", withText("login.title", "100 % sicher"), /"login\.title" holds .*percent sign/],
  ["a directive in a text", "texts/de.po", withText("login.title", "$(username)"), /"login\.title" holds .*"\$\("/],
  ["the end of a comment in a text", "texts/de.po", withText("reason.other", "a --> b"), /"reason\.other" would end a comment/],
  ["a percent sign in a layout", "layout/set.njk", (text) => text.replace("<h1>", "<h1>100% "), /layout\/set\.njk: a percent sign/],
  ["a percent sign in a script that stands in a page", "scripts/first.js", (text) => `${text}root.x = 5 % 2;\n`, /a script that stands in a page holds "%"/],
  ["a file that is named after no language", "texts/deutsch.po", () => "msgid \"\"\nmsgstr \"\"\n", /deutsch\.po: is to be named by a language's two or three letters/],
  ["settings without a way to log in", "settings.json", () => "{\"logins\": [\"trial\"]}", /"logins" is a list of account, voucher, trial/],
];

for (const [what, file, change, told] of mistakes) {
  test(`pages build: ${what} is told, and nothing is written`, () => {
    const result = build((edit) => edit(file, change));
    assert.equal(result.status, 1);
    assert.match(result.told, told);
    assert.ok(!fs.existsSync(result.out));
  });
}

test("pages build: a text of every catalogue that no layout uses is told", () => {
  const languages = fs.readdirSync(path.join(sources, "texts"));
  const result = build((edit) => languages.forEach((name) => edit(`texts/${name}`, withEntry("login.nothing", "x"))));
  assert.equal(result.status, 1);
  assert.match(result.told, /^texts\/en\.po:\d+: "login\.nothing" is used by no layout: delete it from every catalogue$/);
});

test("pages build: what is shipped is what the sources give", () => {
  const result = build(() => {});
  assert.equal(result.told, "");
  const names = (dir) => fs.readdirSync(dir, { recursive: true }).filter((name) => path.extname(name)).sort();
  assert.deepEqual(names(result.out), names(built));
  for (const name of names(built)) {
    assert.equal(fs.readFileSync(path.join(result.out, name), "utf8"), fs.readFileSync(path.join(built, name), "utf8"), name);
  }
});

test("pages build: one change of the layout is in every page of every language", () => {
  const result = build((edit) => edit("layout/base.njk", (text) => text.replace("<header>", "<header id=\"changed\">")));
  const pages = fs.readdirSync(result.out, { recursive: true }).filter((name) => name.endsWith(".html"));
  assert.equal(pages.length, 17 * 7);
  for (const page of pages) assert.ok(fs.readFileSync(path.join(result.out, page), "utf8").includes("id=\"changed\""), page);
});

test("pages build: a new language is one file", () => {
  const result = build((edit) => edit("texts/xx.po", () =>
    withText("language.name", "Other")(fs.readFileSync(path.join(sources, "texts/en.po"), "utf8"))));
  assert.equal(result.status, 0, result.told);
  assert.match(result.read("xx/login.html"), /<html lang="xx" dir="ltr"/);
  for (const page of ["login.html", "ja/status.html"]) assert.match(result.read(page), /target=xx">Other</);
});

test("pages build: a page of the owner's own is one layout", () => {
  const result = build((edit) => edit("layout/house.njk", () => "{% extends \"base.njk\" %}\n" +
    "{% block title %}{{ t('login.title') }}{% endblock %}\n{% block content %}<h1>House</h1>{% endblock %}\n"));
  assert.equal(result.status, 0, result.told);
  assert.match(result.read("house.html"), /<h1>House<\/h1>/);
  assert.match(result.read("de/house.html"), /<html lang="de"[^]* href="house.html\?dst=\$\(link-orig-esc\)&amp;target=ja"/);
});

test("pages build: an owner of vouchers alone shows one field", () => {
  const result = build((edit) => edit("settings.json", () => "{\"logins\": [\"voucher\"]}"));
  const page = result.read("login.html");
  assert.match(page, /<input id="code" [^>]*autofocus>/);
  assert.doesNotMatch(page, /type="password"|value="trial"/);
});
