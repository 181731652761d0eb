// Requests for other sites, as a redirect rule hands them over.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";

import { logIn } from "./conversations.mjs";
import { exchangeRaw, form, intercepted, request } from "./http_client.mjs";
import { Portal, urlEscape } from "./portal.mjs";
import { wholeDirectory } from "./replayed.mjs";

let portal;
before(async () => { portal = await Portal.start(); });
after(() => portal?.stop());

const loginLink = (address) => `${portal.url}login?dst=${urlEscape(address)}`;

test("interception: a GET is redirected to the login page with 302", async () => {
  const answer = await intercepted(portal.port, "www.example.com", { path: "/news?page=2" });
  assert.equal(answer.status, 302);
  assert.equal(answer.reason, "Hotspot login required");
  assert.equal(answer.headers.location, loginLink("http://www.example.com/news"));
  assert.equal(answer.headers["cache-control"], "no-cache, no-store");
  assert.equal(answer.headers.connection, "close");
  assert.equal(answer.headers["content-type"], "text/html");
  assert.match(answer.body, /<h1>One moment<\/h1>/);
});

test("interception: every other method is redirected with 303", async () => {
  for (const [method, body] of [["POST", form({ q: "x" })], ["PUT", "x"], ["DELETE", undefined]]) {
    const answer = await intercepted(portal.port, "www.example.com", { method, body, path: "/find" });
    assert.equal(answer.status, 303, method);
    assert.equal(answer.headers.location, loginLink("http://www.example.com/find"), method);
  }
});

test("interception: a HEAD is answered without a body", async () => {
  const answer = await intercepted(portal.port, "www.example.com", { method: "HEAD" });
  assert.equal(answer.status, 303);
  assert.equal(answer.body, "");
});

test("interception: HTTPS leads to the login page over HTTPS and ends the connection", async () => {
  const answer = await intercepted(portal.tlsPort, "www.example.com", { tls: true, path: "/a" });
  assert.equal(answer.status, 302);
  assert.match(answer.headers.location,
    /^https:\/\/portal\.example\.net\/login\?dst=https%3A%2F%2Fwww\.example\.com%2Fa$/);
  assert.equal(answer.headers.connection, "close");
});

test("interception: any path of another site is redirected, also one of the portal's own names", async () => {
  for (const path of ["/login", "/status", "/style.css", "/a/b/../c"]) {
    const answer = await intercepted(portal.port, "www.example.com", { path });
    assert.equal(answer.status, 302, path);
  }
});

test("interception: a line break in the path does not reach the headers", async () => {
  const answer = await intercepted(portal.port, "www.example.com",
    { path: "/%0d%0aSet-Cookie:%20evil=1%0d%0a%0d%0a<script>" });
  assert.equal(answer.status, 302);
  assert.equal(answer.headers["set-cookie"], undefined);
  assert.match(answer.headers.location, /%250D%250ASet-Cookie|%0D%0ASet-Cookie/);
});

test("interception: an absolute address on the request line counts as the host", async () => {
  const text = await exchangeRaw(portal.port,
    "GET http://www.example.org/x HTTP/1.1\r\nHost: www.example.org\r\nConnection: close\r\n\r\n");
  assert.match(text, /^HTTP\/1\.1 302 Hotspot login required\r\n/);
  assert.ok(text.includes(`Location: ${loginLink("http://www.example.org/x")}\r\n`), text);
});

test("interception: the portal's own root leads to the login page", async () => {
  const answer = await request(portal.port, { path: "/" });
  assert.equal(answer.status, 302);
  assert.equal(answer.headers.location, `${portal.url}login`);
});

test("interception: the optional pages stand in for the redirect where the owner wants them", async () => {
  const other = await Portal.start({ manager: { "html-dir": wholeDirectory } });
  try {
    const leads = `${other.url}login?dst=${urlEscape("http://www.example.com/news")}`;
    for (const method of ["GET", "POST"]) {
      const held = await intercepted(other.port, "www.example.com", { method, path: "/news" });
      assert.equal(held.status, 200);
      assert.match(held.body, /<h1>Please log in<\/h1>/);
      assert.ok(held.body.includes(`data-to="${urlEscape(leads)}"`), held.body);
      assert.ok(held.body.includes(`<noscript><p><a class="button" href="${leads}">`), held.body);
    }
    const status = await request(other.port, { path: "/status" });
    assert.equal(status.status, 200);
    assert.match(status.body, /<a class="button" href="login">Log in<\/a>/);
  } finally {
    await other.stop();
  }
});

test("interception: the portal's files are served to everybody", async () => {
  for (const [path, type] of [["/style.css", "text/css"], ["/portal.js", "text/javascript"],
    ["/md5.js", "text/javascript"]]) {
    const answer = await request(portal.port, { path });
    assert.equal(answer.status, 200, path);
    assert.equal(answer.headers["content-type"], type, path);
    assert.equal(answer.headers["content-length"], String(Buffer.byteLength(answer.body)), path);
  }
});

test("interception: a client that is logged in sees the after-login page", async () => {
  const client = "127.0.1.1";
  await logIn(portal, client);
  const answer = await intercepted(portal.port, "www.example.com", { client, path: "/news" });
  assert.equal(answer.status, 200);
  assert.match(answer.body, /<h1>You are logged in<\/h1>/);
  assert.ok(answer.body.includes('data-to="http%3A%2F%2Fwww.example.com%2Fnews"'), answer.body);
});

test("interception: a client that is logged in and asks for the root is led to its session", async () => {
  const client = "127.0.1.2";
  await logIn(portal, client);
  const answer = await request(portal.port, { client, path: "/" });
  assert.equal(answer.status, 200);
  assert.match(answer.body, /<meta http-equiv="refresh" content="0; url=status">/);
});
