// Rules that every page of the shipped page directory keeps, tested on the files themselves.

import assert from "node:assert/strict";
import crypto from "node:crypto";
import fs from "node:fs";
import path from "node:path";
import { test } from "node:test";

const share = path.join(process.env.HOTSPOT_BUILD_DIR, "share/hotspot");
const dir = path.join(share, "pages");
const filesIn = (top) => fs.readdirSync(top, { recursive: true }).filter((name) => fs.statSync(path.join(top, name)).isFile());
const files = filesIn(dir);
const optional = filesIn(path.join(share, "optional-pages"));
// All pages, as they are when the owner has put the optional ones in place.
const templates = new Map([[dir, files], [path.join(share, "optional-pages"), optional]].flatMap(([top, names]) =>
  names.filter((name) => name.endsWith(".html")).map((name) => [name, fs.readFileSync(path.join(top, name), "utf8")])));
const directive = /\$\(([^)]*)\)/g;

// Every variable that a page may name without meeting its own reference in the output.
const known = new Set(`
  user-agent ssl-login plain-passwd trial identity hostname target-dir link-logout link-login-only
  link-login link-status link-advert link-alogin link-orig mac logged-in ip username domain
  login-by-mac blocked advert-pending uptime uptime-secs session-timeout session-timeout-secs
  session-time-left session-time-left-secs idle-timeout idle-timeout-secs refresh-timeout
  refresh-timeout-secs login-by session-id var error error-orig error-type server-address server-name
  interface-name location-id location-name bytes-in bytes-out bytes-in-nice bytes-out-nice packets-in
  packets-out limit-bytes-in limit-bytes-out limit-bytes-total remain-bytes-in remain-bytes-out
  remain-bytes-total`.trim().split(/\s+/));
const knownOnly = new Map([
  ["chap-id", ["login.html", "flogin.html"]],
  ["chap-challenge", ["login.html", "flogin.html"]],
  ["link-redirect", ["alogin.html", "redirect.html", "advert.html", "radvert.html", "rlogin.html"]],
]);

// The references of a template: {name, place}, place being "text", "attribute" or "script".
function references(template) {
  const found = [];
  const pieces = template.split(/(<script>[\s\S]*?<\/script>|<[^>]*>)/);
  for (const piece of pieces) {
    const place = piece.startsWith("<script>") ? "script" : piece.startsWith("<") ? "attribute" : "text";
    for (const match of piece.matchAll(directive)) {
      const words = match[1].split(/[ \t]+/);
      if (words.length === 1 && words[0] !== "else" && words[0] !== "endif") {
        found.push({ name: words[0], place });
      }
    }
  }
  return found;
}

test("pages: those that a visitor meets are there", () => {
  for (const name of ["login", "flogin", "alogin", "redirect", "status", "rstatus", "logout", "flogout",
    "set", "fset", "advert", "radvert", "fadvert", "falogin", "error"]) {
    assert.ok(templates.has(`${name}.html`), name);
  }
  for (const name of ["style.css", "portal.js", "md5.js"]) assert.ok(files.includes(name), name);
});

test("pages: those whose absence makes the redirect are optional", () => {
  for (const name of ["rlogin.html", "fstatus.html"]) {
    assert.ok(!files.includes(name));
    assert.ok(optional.includes(name));
  }
});

test("pages: a value in an attribute or a script stands in its escaped form alone", () => {
  for (const [file, template] of templates) {
    for (const { name, place } of references(template)) {
      assert.equal(name.endsWith("-esc"), place !== "text", `${file}: ${name} in ${place}`);
    }
  }
});

test("pages: an attribute that holds a value is quoted", () => {
  for (const [file, template] of templates) {
    for (const [tag] of template.replace(/<script>[\s\S]*?<\/script>/g, "").matchAll(/<[^>]*>/g)) {
      const unquoted = tag.replace(/="[^"]*"/g, "").replace(/\$\((?:if [^)]*|else|endif)\)/g, "");
      assert.ok(!unquoted.includes("$("), `${file}: ${tag}`);
    }
  }
});

test("pages: every variable named is one that the page has", () => {
  for (const [file, template] of templates) {
    const names = references(template).map(({ name }) => name.replace(/-esc$/, ""));
    for (const match of template.matchAll(directive)) {
      const words = match[1].split(/[ \t]+/);
      if (words[0] === "if" || words[0] === "elif") names.push(words[1]);
    }
    for (const name of names) {
      assert.ok(known.has(name) || knownOnly.get(name)?.includes(path.basename(file)), `${file}: ${name}`);
    }
  }
});

test("pages: every block is closed and none is closed twice", () => {
  for (const [file, template] of templates) {
    let depth = 0;
    for (const match of template.matchAll(directive)) {
      const words = match[1].split(/[ \t]+/);
      if (words[0] === "if") depth++;
      if (words[0] === "endif") depth--;
      assert.ok(depth > 0 || !["elif", "else"].includes(words[0]), `${file}: ${match[0]}`);
      assert.ok(depth >= 0, `${file}: ${match[0]} without if`);
      assert.ok([1, 2, 4].includes(words.length), `${file}: ${match[0]} is no directive`);
    }
    assert.equal(depth, 0, file);
  }
});

test("pages: no percent sign meets the engine", () => {
  for (const [file, template] of templates) assert.ok(!template.includes("%"), file);
});

test("pages: nothing is loaded from another host", () => {
  for (const [file, template] of templates) {
    for (const [, address] of template.matchAll(/\s(?:src|href|action|content)="([^"]*)"/g)) {
      const named = address.replace(
        /^(\$\(if ssl-login == yes\)https(\$\(else\)http\$\(endif\))?|https?):\/\/\$\(hostname-esc\)\//, "");
      assert.doesNotMatch(named, /^\s*(?:\w+:)?\/\//, `${file}: ${address}`);
    }
  }
  for (const file of ["style.css", "portal.js"]) {
    const text = fs.readFileSync(path.join(dir, file), "utf8");
    // The one request that a script makes goes to the address of the page's own link.
    assert.doesNotMatch(text.replace('.open("GET", link.href)', ""), /@import|url\(|fetch\(|\.open\(|\.src =/, file);
  }
});

test("pages: every page is there in every language, and each marks its own", () => {
  const english = [...templates.keys()].filter((name) => !name.includes("/"));
  for (const language of ["de", "fr", "es", "lv", "ar", "ja"]) {
    for (const name of english) {
      const translated = templates.get(name.replace(/([^/]*)$/, `${language}/$1`));
      assert.ok(translated?.includes(`<html lang="${language}"`), `${language}: ${name}`);
      assert.match(translated, new RegExp(`<a lang="${language}"[^>]* aria-current="true">`));
      assert.equal(translated.match(/aria-current="/g).length, 1);
    }
  }
});

const standIns = ["alogin.html", "error.html", "radvert.html", "redirect.html", "rlogin.html"];
test("pages: each says what it may load and run, and runs nothing else", () => {
  for (const [file, template] of templates) {
    const policy = template.match(/<meta http-equiv="Content-Security-Policy" content="([^"]*)">/)?.[1];
    // A picture beside the pages is shown where the portal's files can be had.
    const pictures = standIns.includes(path.basename(file)) ? "data:" : "'self' data:";
    assert.ok(policy?.startsWith(`default-src 'none'; img-src ${pictures}; base-uri 'none'; `), file);
    assert.doesNotMatch(policy, /unsafe|\*|http:/, file);
    const before = template.slice(0, template.indexOf("Content-Security-Policy"));
    assert.doesNotMatch(before, /<(script|style|link)/, file);
    for (const [, kind, text] of template.matchAll(/<(script|style)>([^]*?)<\/\1>/g)) {
      const hash = crypto.createHash("sha256").update(text).digest("base64");
      assert.ok(policy.includes(`'sha256-${hash}'`), `${file}: a ${kind}`);
    }
    assert.doesNotMatch(template.replace(/<script>[^]*?<\/script>/g, ""), /\son[a-z]+=|javascript:|\sstyle=/i, file);
  }
});

test("pages: links to the portal keep the language, links to another keep the address", () => {
  for (const [file, template] of templates) {
    const [, chooser] = template.match(/<nav [^>]*>([^]*?)<\/nav>/);
    for (const [, address] of chooser.matchAll(/ href="([^"]*)"/g)) {
      assert.match(address, /\?dst=\$\(link-orig-esc\)&amp;target=[a-z]{2}$/, file);
    }
    const others = template.replace(/<nav [^]*?<\/nav>/, "").replace(/<noscript>[^]*?<\/noscript>/g, "");
    for (const [, address] of others.matchAll(/ (?:href|action)="((?:login|logout|status|set|advert|alogin)[^"]*)"/g)) {
      assert.ok(address.includes("target=$(target-dir-esc)"), `${file}: ${address}`);
    }
  }
});

// What a guest's page is beyond these is measured in the browser, with values in it (e2e.browser_pages).
test("pages: what pages share is small, and so is the directory", () => {
  const size = (name) => fs.statSync(path.join(dir, name)).size;
  const sum = (names) => names.reduce((all, name) => all + size(name), 0);
  assert.ok(sum(["style.css", "portal.js", "md5.js"]) < 21 * 1024);
  assert.ok(sum(files) < 1024 * 1024);
});
