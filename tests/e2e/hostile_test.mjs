// Values of a request that try to become headers, markup, addresses or file names.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";

import { logIn } from "./conversations.mjs";
import { exchangeRaw, intercepted, request } from "./http_client.mjs";
import { eventually, Portal, urlEscape } from "./portal.mjs";

let portal;
before(async () => { portal = await Portal.start(); });
after(() => portal?.stop());

const values = [
  "\r\nX-Injected: 1",
  "\r\nSet-Cookie: loginID=1\r\n\r\n<html>",
  "\nX-Injected: 1",
  "\"><script>alert(1)</script>",
  "' onmouseover='alert(1)",
  "\" onmouseover=\"alert(1)",
  "</script><script>alert(1)</script>",
  "\\\");alert(1)//",
  "javascript:alert(1)",
  "data:text/html,<script>alert(1)</script>",
  "$(username)%username%$(if ip)x$(endif)",
  "\u0000x",
  "http://www.example.com/\r\nX-Injected: 1",
];

// What `value` must not have become.
function assertHarmless(answer, what) {
  assert.equal(answer.headers["x-injected"], undefined, what);
  for (const cookie of answer.headers["set-cookie"] ?? []) {
    assert.match(cookie, /^loginID=[1-9]\d*; expires=[^;]* GMT; path=\/login$/, what);
  }
  assert.doesNotMatch(answer.body, /<script>alert/, what);
  for (const [tag] of answer.body.matchAll(/<[a-z][^>]*>/g)) {
    assert.doesNotMatch(tag.replace(/="[^"]*"/g, ""), /onmouseover|alert\(/, `${what}: ${tag}`);
    assert.doesNotMatch(tag, /\s(href|src|action)="\s*(javascript|data:text)/i, `${what}: ${tag}`);
  }
  for (const [, script] of answer.body.matchAll(/<script>([\s\S]*?)<\/script>/g)) {
    assert.doesNotMatch(script, /alert\(/, what);
  }
}

test("hostile: dst and target in every page's links", async () => {
  for (const value of values) {
    for (const page of ["login", "status", "advert", "alogin", "set", "logout", "", "style.css"]) {
      for (const name of ["dst", "target"]) {
        const path = `/${page}?${name}=${encodeURIComponent(value)}`;
        assertHarmless(await request(portal.port, { path }), path);
      }
    }
  }
});

test("hostile: dst and target once logged in", async () => {
  const client = "127.0.7.1";
  await logIn(portal, client);
  for (const value of values) {
    for (const page of ["login", "status", "advert", "alogin", "set", ""]) {
      for (const name of ["dst", "target"]) {
        const path = `/${page}?${name}=${encodeURIComponent(value)}`;
        assertHarmless(await request(portal.port, { path, client }), path);
      }
    }
  }
});

test("hostile: the path of a held-back request", async () => {
  for (const value of values) {
    const path = `/${encodeURIComponent(value)}`;
    assertHarmless(await intercepted(portal.port, "www.example.com", { path }), path);
  }
});

test("hostile: the host of a request", async () => {
  for (const host of ["\"><script>alert(1)</script>", "a b", "x\tSet-Cookie: a=1", "a/b?c", "@", ":"]) {
    const text = await exchangeRaw(portal.port,
      `GET /x HTTP/1.1\r\nHost: ${host}\r\nConnection: close\r\n\r\n`);
    assert.match(text, /^HTTP\/1\.1 (302|400) /, host);
    assert.doesNotMatch(text, /<script>alert|^Set-Cookie/m, host);
  }
});

test("hostile: a target of line breaks does not split the redirect", async () => {
  const path = `/status?target=${encodeURIComponent("a\r\nX-Injected: 1\r\n")}`;
  const text = await exchangeRaw(portal.port,
    `GET ${path} HTTP/1.1\r\nHost: 127.0.0.1:${portal.port}\r\nConnection: close\r\n\r\n`);
  assert.match(text, /^HTTP\/1\.1 302 /);
  const head = text.slice(0, text.indexOf("\r\n\r\n")).split("\r\n");
  assert.ok(head.every((line) => !line.startsWith("X-Injected")), text);
  assert.match(head.find((line) => line.startsWith("Location:")), /X-Injected: 1/);
});

test("hostile: no way out of the page directory", async () => {
  for (const path of ["/../manager.db", "/..%2fmanager.db", "/%2e%2e/manager.db", "/a/..%2f..%2fx",
    "/..%5cmanager.db"]) {
    assert.equal((await request(portal.port, { path })).status, 404, path);
  }
  const target = `/manager.db?target=${urlEscape("../../..")}${urlEscape(portal.dir)}`;
  assert.equal((await request(portal.port, { path: target })).status, 404);
});

test("hostile: the server goes on", async () => {
  await eventually("a login page", async () =>
    (await request(portal.port, { path: "/login" })).body.includes("<h1>Log in</h1>"));
  assert.doesNotMatch(portal.web.log(), /signal|killed|replaced/i);
});
