// WISPr: what a smart client reads in the pages is XML, whatever a client sent or the owner configured.

import assert from "node:assert/strict";
import { createRequire } from "node:module";
import path from "node:path";
import { test } from "node:test";

import { form, request } from "./http_client.mjs";
import { hostileTexts } from "./hostile_texts.mjs";
import { errorCodes, languages, states } from "./page_states.mjs";
import { Portal, user } from "./portal.mjs";
import { render } from "./replayed.mjs";

const require = createRequire(path.join(process.env.HOTSPOT_NPM_DIR, "package.json"));
const { SaxesParser } = require("saxes");

// The elements of a well-formed document by name; throws for any other text.
function parse(xml) {
  const elements = {};
  const open = [];
  const parser = new SaxesParser();
  parser.on("error", (error) => { throw error; });
  parser.on("opentag", ({ name }) => { open.push(name); elements[name] ??= ""; });
  parser.on("text", (text) => { if (open.length > 0) elements[open.at(-1)] += text; });
  parser.on("closetag", () => open.pop());
  parser.write(xml).close();
  return elements;
}

// The document of a page as a smart client finds it; undefined when there is none. The comment around it must be
// the only one, so that it has not ended early.
function documentOf({ body }, what) {
  const page = new TextDecoder("utf-8", { fatal: true }).decode(body);
  const [comment, ...others] = page.match(/<!--[\s\S]*?(?:--!?>|$)/g) ?? [];
  assert.deepEqual(others, [], what);
  if (comment === undefined) return undefined;
  const xml = comment.slice("<!--".length, -"-->".length).trim();
  assert.ok(xml.startsWith("<?xml"), what);
  assert.ok(xml.endsWith("</WISPAccessGatewayParam>"), what);
  return parse(xml);
}

const only = (name) => {
  const state = states.find((each) => each.name === name);
  assert.ok(state, name);
  const [result] = render([state]);
  return documentOf(result, name);
};

test("wispr: a held-back request and the login page tell where to log in", () => {
  for (const name of ["held back", "rlogin", "login"]) {
    const found = only(name);
    assert.equal(found.MessageType.trim(), "100");
    assert.equal(found.ResponseCode.trim(), "0");
    assert.equal(found.AccessProcedure, "1.0");
    assert.equal(found.LoginURL, "http://portal.example.net/login");
    assert.equal(found.AbortLoginURL, "http://portal.example.net/logout");
    assert.equal(found.AccessLocation, "isocc=lv,cc=371,ac=67,network=cafe");
    assert.equal(found.LocationName, "Harbour Caf\u00e9");
    assert.ok("Redirect" in found);
  }
  assert.equal(only("login that leads to HTTPS").LoginURL, "https://portal.example.net/login");
});

test("wispr: a login is answered with 50 and the way to log off", () => {
  for (const name of ["alogin", "alogin with an address", "alogin in another site's place"]) {
    const found = only(name);
    assert.ok("AuthenticationReply" in found);
    assert.equal(found.MessageType, "120");
    assert.equal(found.ResponseCode, "50");
    assert.equal(found.LogoffURL, "http://portal.example.net/logout");
  }
});

test("wispr: a refused login is answered with its kind and a sentence", () => {
  const codes = { "internal-error": 255, "config-error": 255, "ippool-empty": 255, "shutting-down": 255,
    "radius-timeout": 102, unreachable: 255, silent: 255 };
  const sentences = new Set();
  for (const type of Object.keys(errorCodes)) {
    const found = only(`flogin, ${type}`);
    assert.equal(found.MessageType, "120");
    assert.equal(found.ResponseCode, String(codes[type] ?? 100), type);
    assert.match(found.ReplyMessage, /\.$/);
    sentences.add(found.ReplyMessage);
  }
  assert.equal(sentences.size, Object.keys(errorCodes).length);
});

test("wispr: logging off is answered with 150, or 255 when it failed", () => {
  const found = only("logout");
  assert.ok("LogoffReply" in found);
  assert.equal(found.MessageType, "130");
  assert.equal(found.ResponseCode, "150");
  assert.equal(only("flogout, 1").ResponseCode, "255");
});

const withXml = ["login", "rlogin", "flogin", "alogin", "redirect", "logout", "flogout"];

test("wispr: every page has it or has none, in every language", () => {
  for (const target of languages) {
    const asked = states.map((state) => ({ ...state, parameters: { ...state.parameters, target } }));
    render(asked).forEach((result, at) => {
      const { file, name } = asked[at];
      assert.equal(documentOf(result, `${target}: ${name}`) !== undefined, withXml.includes(file), name);
    });
  }
});

test("wispr: it is the same and well-formed for hostile values", () => {
  const kept = new Map(states.map((state, at) => [state.name, at]));
  const asked = states.filter(({ file }) => withXml.includes(file));
  const plain = render(states);
  for (const text of hostileTexts) {
    // A target of a client's own has no pages in it: the English ones are shown.
    const hostile = asked.map((state) => ({
      ...state,
      path: state.host === undefined ? undefined : `/${text}`,
      // A NUL ends the name of the file that is looked for: such a page is not found.
      parameters: { ...state.parameters, dst: text, target: text.replaceAll("\u0000", ""), var: text, "session-id": text, username: text },
      reply: { ...state.reply, username: text, domain: text, message: text },
    }));
    render(hostile).forEach((result, at) => {
      const found = documentOf(result, `${hostile[at].name}: ${JSON.stringify(text)}`);
      assert.deepEqual(found, documentOf(plain[kept.get(hostile[at].name)], "plain"), hostile[at].name);
    });
  }
});

test("wispr: the owner's own names may hold what is XML's", () => {
  const names = hostileTexts.filter((text) => !/[\u0000-\u001f\u007f\ufffe\uffff]/.test(text));
  const login = states.find(({ name }) => name === "login");
  const asked = names.map((text) => ({ ...login, reply: { ...login.reply, locationName: text, locationId: text } }));
  render(asked).forEach((result, at) => {
    const found = documentOf(result, names[at]);
    assert.equal(found.LocationName, names[at]);
    assert.equal(found.AccessLocation, names[at]);
  });
});

// A smart client of a whole portal: it knows no page, keeps no cookie, and names its fields as WISPr does.
test("wispr: a smart client logs in and off by what the answers tell it", async () => {
  const portal = await Portal.start({ manager: { "ssl-login": true, "location-id": "isocc=lv,network=cafe", "location-name": "Harbour & Sons" } });
  const client = "127.0.4.1";
  // Goes where the portal's links lead: names and schemes are theirs, the ports are the test's own.
  const visit = async (address, options = {}) => {
    const { protocol, host, pathname, search } = new URL(address);
    const tls = protocol === "https:";
    const answer = await request(tls ? portal.tlsPort : portal.port,
      { client, tls, path: pathname + search, headers: { Host: host, "User-Agent": "WISPR!smart" }, ...options });
    return { status: answer.status, xml: documentOf({ body: Buffer.from(answer.body, "utf8") }, address) };
  };
  const logIn = (address, password) =>
    visit(address, { method: "POST", body: form({ UserName: user.name, Password: password, button: "Login", FNAME: "0", OriginatingServer: "http://www.example.com/" }) });
  try {
    const held = await visit("http://www.example.com/news?a=1");
    assert.equal(held.status, 302);
    assert.equal(held.xml.ResponseCode.trim(), "0");
    assert.equal(held.xml.LocationName, "Harbour & Sons");
    assert.equal(held.xml.LoginURL, "https://portal.example.net/login");
    const refused = await logIn(held.xml.LoginURL, "wrong");
    assert.equal(refused.status, 200);
    assert.equal(refused.xml.ResponseCode, "100");
    assert.match(refused.xml.ReplyMessage, /not right/);
    const accepted = await logIn(held.xml.LoginURL, user.password);
    assert.equal(accepted.status, 200);
    assert.equal(accepted.xml.ResponseCode, "50");
    // Logged in, a request that is held back all the same gives the way to log off once more.
    assert.equal((await visit("http://www.example.com/")).xml.LogoffURL, accepted.xml.LogoffURL);
    assert.match(portal.ctl(["session", "list"]), new RegExp(user.name));
    assert.equal((await visit(accepted.xml.LogoffURL)).xml.ResponseCode, "150");
    assert.doesNotMatch(portal.ctl(["session", "list"]), new RegExp(user.name));
    assert.equal((await visit(accepted.xml.LogoffURL)).xml.ResponseCode, "255");
    assert.equal((await visit("http://www.example.com/")).xml.LoginURL, held.xml.LoginURL);
  } finally {
    await portal.stop();
  }
});
