// Builds the page directory: every layout of layout/ in every language of texts/, with style, scripts and the
// MD5 library beside them.
//
//   node build.mjs OUT [OPTIONAL]
//
// English is written to OUT itself, where the module falls back to, the others to a sub-directory each; OPTIONAL gets
// the pages that are missing in OUT on purpose (README.md). Nothing is written when a text is missing, unused or does not fit; the exit status is then 1. HOTSPOT_NPM_DIR names the
// directory that has node_modules/, when that is not this one.

import fs from "node:fs";
import { createRequire } from "node:module";
import path from "node:path";
import { fileURLToPath } from "node:url";

import { Assets, withPolicy } from "./assets.mjs";
import { kSource, readCatalogues, SourceError } from "./catalogue.mjs";

// Layouts that are parts of others. Every other one is a page.
const kParts = ["base", "login_form", "macros", "wispr"];
// Pages whose absence makes the answer a redirect: for the owner to put in place.
const kOptional = ["fstatus", "rlogin"];

const kLogins = ["account", "voucher", "trial"];

// What each page may do beside showing itself.
const kSelf = { "img-src": "'self' data:", "style-src": "'self'", "script-src": "'self'" };
const kForm = { ...kSelf, "form-action": "'self'" };
const kLoginForm = { ...kSelf, "form-action": "'self'$(if ssl-login == yes) https:$(endif)" };
const kAllowed = { login: kLoginForm, flogin: kLoginForm, status: { ...kForm, "connect-src": "'self'" } };
// These may be shown in the place of another site's page, where the portal's files cannot be had.
const kStandIns = ["alogin", "error", "radvert", "redirect", "rlogin"];

function readSettings(file) {
  const settings = JSON.parse(fs.readFileSync(file, "utf8"));
  const { logins } = settings;
  if (!Array.isArray(logins) || logins.length === 0 || logins.some((kind) => !kLogins.includes(kind)) ||
      logins.every((kind) => kind === "trial")) {
    throw new SourceError([`${file}: "logins" is a list of ${kLogins.join(", ")}, with account or voucher in it; the first is shown open`]);
  }
  return settings;
}

// All files by name: those of the page directory, and those for the owner to add.
function build(sources, require) {
  const nunjucks = require("nunjucks");
  const { languages, unused } = readCatalogues(path.join(sources, "texts"), require("gettext-parser"));
  const assets = new Assets(sources);
  const settings = readSettings(path.join(sources, "settings.json"));
  const pages = fs.readdirSync(path.join(sources, "layout")).filter((name) => name.endsWith(".njk"))
    .map((name) => path.basename(name, ".njk")).filter((name) => !kParts.includes(name)).sort();
  const layouts = new nunjucks.Environment(new nunjucks.FileSystemLoader(path.join(sources, "layout")),
    { autoescape: false, throwOnUndefined: true, trimBlocks: true, lstripBlocks: true });

  const common = {
    languages: languages.map(({ code, text }) => ({ code, name: text("language.name") })),
    style: assets.style("base"),
    firstScript: assets.script("first"),
    standInScript: assets.script("common", "stand_in"),
  };
  const problems = [];
  const render = (page, { code, text: written }, logins) => {
    // All that is wrong is told at once.
    const t = (id, values) => {
      try {
        return written(id, values);
      } catch (error) {
        problems.push(...error.problems.map((problem) => `layout/${page}.njk: ${problem}`));
        return "";
      }
    };
    const isStandIn = kStandIns.includes(page);
    const text = layouts.render(`${page}.njk`, { ...common, t, page, logins, language: code, isStandIn });
    const html = withPolicy(`${text.replace(/\n{2,}/g, "\n").trim()}\n`, kAllowed[page] ?? (isStandIn ? {} : kSelf));
    if (html.includes("%")) problems.push(`layout/${page}.njk: a percent sign, which the template engine would take`);
    return html;
  };

  const files = new Map();
  const optional = new Map();
  for (const language of languages) {
    const directory = language.code === kSource ? "" : `${language.code}/`;
    for (const page of pages) {
      const place = kOptional.includes(page) ? optional : files;
      place.set(`${directory}${page}.html`, render(page, language, settings.logins));
    }
  }
  // A text that only another choice of settings shows is in use all the same.
  for (const logins of [kLogins, [...kLogins].reverse(), ["voucher", "account"]]) {
    for (const page of ["login", "flogin"]) render(page, languages[0], logins);
  }
  problems.push(...unused());
  if (problems.length > 0) throw new SourceError([...new Set(problems)]);

  files.set("style.css", assets.style("base", "portal"));
  files.set("portal.js", assets.script("common", "portal", "status", "login"));
  files.set("md5.js", fs.readFileSync(require.resolve("js-md5/build/md5-lite.min.js"), "utf8"));
  return { files, optional };
}

function write(files, out) {
  for (const [name, text] of files) {
    const file = path.join(out, name);
    fs.mkdirSync(path.dirname(file), { recursive: true });
    // A new file in the old one's place: no guest sees half of it.
    fs.writeFileSync(`${file}.new`, text);
    fs.renameSync(`${file}.new`, file);
  }
}

const sources = path.dirname(fileURLToPath(import.meta.url));
const [out, optionalOut, ...others] = process.argv.slice(2);
if (out === undefined || others.length > 0) {
  console.error("usage: node build.mjs OUT [OPTIONAL]");
  process.exit(2);
}
try {
  const modules = path.resolve(process.env.HOTSPOT_NPM_DIR ?? sources, "package.json");
  const { files, optional } = build(sources, createRequire(modules));
  write(files, out);
  if (optionalOut !== undefined) write(optional, optionalOut);
} catch (error) {
  const told = error.problems ??
    [error.code === "MODULE_NOT_FOUND" ? `${error.message.split("\n")[0]}; run npm ci` : error.message];
  for (const line of told) console.error(line);
  process.exit(1);
}
