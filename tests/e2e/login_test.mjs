// Logging in: CHAP over HTTP, the password itself over HTTPS, a trial, and what is refused.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";

import { isLoggedIn, logIn, openLogin, sendLogin } from "./conversations.mjs";
import { form, request } from "./http_client.mjs";
import { readLoginForm, textOf } from "./login_form.mjs";
import { Portal, user } from "./portal.mjs";

let portal;
before(async () => { portal = await Portal.start({ manager: { trial: true } }); });
after(() => portal?.stop());

let lastClient = 0;
const newClient = () => `127.0.2.${++lastClient}`;

function assertRefused(answer) {
  assert.equal(answer.status, 200);
  assert.match(answer.body, /<h1>Not logged in<\/h1>/);
  assert.notEqual(textOf(answer.body, "error"), "");
  assert.equal(answer.headers["set-cookie"], undefined);
}

test("login: CHAP over HTTP, and the session is there", async () => {
  const client = newClient();
  assert.equal(await isLoggedIn(portal, client), false);
  const { answer, cookie } = await logIn(portal, client);
  assert.ok(cookie);
  assert.match(answer.headers["set-cookie"][0], /^loginID=[1-9]\d*; expires=[^;]* GMT; path=\/login$/);
  const status = await request(portal.port, { client, path: "/status" });
  assert.equal(status.status, 200);
  assert.equal(textOf(status.body, "user"), "guest");
  assert.ok(status.body.includes(`<dd><bdi>${client}</bdi></dd>`));
  assert.match(textOf(status.body, "uptime"), /^\d+s$/);
});

test("login: the challenge has an identifier and 16 bytes or more, and is another on each page", async () => {
  const client = newClient();
  const one = await openLogin(portal, client);
  const other = await openLogin(portal, client);
  assert.equal(one.chapId.length, 1);
  assert.ok(one.chapChallenge.length >= 16);
  assert.notDeepEqual(one.chapChallenge, other.chapChallenge);
});

test("login: a challenge is good for one login", async () => {
  const client = newClient();
  const loginForm = await openLogin(portal, client);
  assert.match((await sendLogin(portal, client, loginForm)).body, /<h1>You are logged in<\/h1>/);
  await request(portal.port, { client, path: "/logout" });
  assertRefused(await sendLogin(portal, client, loginForm));
  assert.equal(await isLoggedIn(portal, client), false);
});

test("login: a challenge of another client is refused", async () => {
  const loginForm = await openLogin(portal, newClient());
  assertRefused(await sendLogin(portal, newClient(), loginForm));
});

test("login: a wrong password and an unknown user get the same answer", async () => {
  const client = newClient();
  const texts = [];
  for (const login of [{ password: "wrong" }, { name: "nobody" }, { password: "" }]) {
    const answer = await sendLogin(portal, client, await openLogin(portal, client), login);
    assertRefused(answer);
    assert.ok(readLoginForm(answer.body), "the form is there again");
    texts.push(textOf(answer.body, "error"));
    assert.equal(await isLoggedIn(portal, client), false);
  }
  assert.equal(texts[0], texts[1]);
});

test("login: the form of the failure page logs in", async () => {
  const client = newClient();
  const refused =
    await sendLogin(portal, client, await openLogin(portal, client), { password: "wrong" });
  const answer = await sendLogin(portal, client, readLoginForm(refused.body));
  assert.match(answer.body, /<h1>You are logged in<\/h1>/);
});

test("login: the password itself over HTTP is refused", async () => {
  const client = newClient();
  const answer = await request(portal.port, {
    client, method: "POST", path: "/login",
    body: form({ username: user.name, password: user.password }),
  });
  assertRefused(answer);
  assert.equal(await isLoggedIn(portal, client), false);
});

test("login: the password itself over HTTP where the hotspot allows it", async () => {
  const client = newClient();
  portal.ctl(["server", "set", "plain-passwd=yes"]);
  try {
    assert.equal((await openLogin(portal, client)).plain, true);
    const answer = await request(portal.port, {
      client, method: "POST", path: "/login",
      body: form({ username: user.name, password: user.password }),
    });
    assert.match(answer.body, /<h1>You are logged in<\/h1>/);
  } finally {
    portal.ctl(["server", "set", "plain-passwd=no"]);
  }
});

test("login: over HTTPS there is no challenge and the password goes as it is", async () => {
  const client = newClient();
  const page = await request(portal.tlsPort, { tls: true, client, path: "/login" });
  const loginForm = readLoginForm(page.body);
  assert.equal(loginForm.chapId.length, 0);
  assert.equal(loginForm.chapChallenge.length, 0);
  assert.doesNotMatch(page.body, /<button[^>]* disabled>/);
  const send = (password) => request(portal.tlsPort, {
    tls: true, client, method: "POST", path: `/${loginForm.action}`,
    body: form({ username: user.name, password }),
  });
  assertRefused(await send("wrong"));
  assert.match((await send(user.password)).body, /<h1>You are logged in<\/h1>/);
  assert.equal(await isLoggedIn(portal, client), true);
});

test("login: the button waits for the script where only CHAP will do", async () => {
  const page = await request(portal.port, { client: newClient(), path: "/login" });
  assert.match(page.body, /<noscript>[^]*?JavaScript[^]*?<\/noscript>\s*<button class="scripted" type="submit" disabled>/);
  assert.doesNotMatch(page.body, /<button type="submit">Log in/);
});

test("login: the address first asked for is where the client goes on to", async () => {
  const path = "/login?dst=http%3A%2F%2Fwww.example.com%2Fa%3Fb%3D1%26c%3D2";
  const { answer } = await logIn(portal, newClient(), path);
  assert.ok(answer.body.includes(">http://www.example.com/a?b=1&amp;c=2</p>"), answer.body);
  assert.ok(answer.body.includes('data-to="http%3A%2F%2Fwww.example.com%2Fa%3Fb%3D1%26c%3D2"'));
});

test("login: without an address the client goes on to its status", async () => {
  const { answer } = await logIn(portal, newClient());
  assert.ok(answer.body.includes(`>${portal.url}status</p>`), answer.body);
});

test("login: a second login of a client that is logged in shows the after-login page", async () => {
  const client = newClient();
  await logIn(portal, client);
  const answer = await request(portal.port, { client, path: "/login" });
  assert.match(answer.body, /<h1>You are logged in<\/h1>/);
});

test("login: a trial, once", async () => {
  const client = newClient();
  const page = await request(portal.port, { client, path: "/login" });
  assert.match(page.body, /Try it for free/);
  const tryIt = () =>
    request(portal.port, { client, method: "POST", path: "/login", body: form({ username: "trial" }) });
  assert.match((await tryIt()).body, /<h1>You are logged in<\/h1>/);
  await request(portal.port, { client, path: "/logout?erase-cookie=true" });
  assertRefused(await tryIt());
});

test("login: no more sessions of a user than the profile allows", async () => {
  portal.ctl(["session", "end", "--user", user.name]);
  portal.ctl(["profile", "set", "default", "--shared-users", "1"]);
  try {
    const client = newClient();
    await logIn(portal, client);
    const other = newClient();
    const refused = await sendLogin(portal, other, await openLogin(portal, other));
    assertRefused(refused);
    // The manager's sentence names a variable, which is filled in.
    assert.match(textOf(refused.body, "error"), /^This account is in use/);
    assert.match(refused.body, /<q dir="auto">guest is logged in already/);
    await request(portal.port, { client, path: "/logout" });
    await logIn(portal, other);
  } finally {
    portal.ctl(["profile", "set", "default", "--shared-users", "0"]);
  }
});

test("login: the form takes the longest name and password that an account can have", async () => {
  const longest = { name: "n".repeat(128), password: "p".repeat(256) };
  portal.ctl(["user", "add", longest.name], `${longest.password}\n`);
  const client = newClient();
  const page = await request(portal.tlsPort, { tls: true, client, path: "/login" });
  for (const [field, text] of [["username", longest.name], ["password", longest.password]]) {
    const [, most] = page.body.match(new RegExp(`<input id="${field}"[^>]* maxlength="(\\d+)"`));
    assert.equal(Number(most), text.length, field);
  }
  const answer = await request(portal.tlsPort, {
    tls: true, client, method: "POST", path: "/login",
    body: form({ username: longest.name, password: longest.password }),
  });
  assert.match(answer.body, /<h1>You are logged in<\/h1>/);
});

test("login: a trial is offered no box to be remembered by", async () => {
  const client = newClient();
  await request(portal.port, { client, method: "POST", path: "/login", body: form({ username: "trial" }) });
  const { body } = await request(portal.port, { client, path: "/status" });
  assert.equal(textOf(body, "user"), "Free trial");
  assert.doesNotMatch(body, /checkbox/);
});

test("login: a form beyond 1024 bytes is refused", async () => {
  const answer = await request(portal.port, {
    method: "POST", path: "/login", client: newClient(), body: form({ username: "x".repeat(1100) }),
  });
  assert.equal(answer.status, 400);
});
