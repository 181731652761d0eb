// What a client does at the portal, step by step, for the tests to build on.

import assert from "node:assert/strict";

import { form, request } from "./http_client.mjs";
import { chapAnswer, readLoginForm } from "./login_form.mjs";
import { user } from "./portal.mjs";

// Opens the login page and gives its form.
export async function openLogin(portal, client, path = "/login") {
  const answer = await request(portal.port, { path, client });
  assert.equal(answer.status, 200);
  const loginForm = readLoginForm(answer.body);
  assert.ok(loginForm, answer.body);
  return loginForm;
}

// Sends a login form as the page's script does.
export function sendLogin(portal, client, loginForm, { name = user.name, password = user.password } = {}) {
  return request(portal.port, {
    client,
    method: "POST",
    path: `/${loginForm.action}`,
    body: form({ username: name, password: chapAnswer(loginForm, password) }),
  });
}

// Logs the client in; gives the answer and its login cookie.
export async function logIn(portal, client, path = "/login") {
  const answer = await sendLogin(portal, client, await openLogin(portal, client, path));
  assert.equal(answer.status, 200);
  assert.match(answer.body, /<h1>You are logged in<\/h1>/);
  const cookie = answer.headers["set-cookie"]?.[0].match(/^loginID=\d+/)?.[0];
  return { answer, cookie };
}

// What the log-out form of a status page sends, with its box ticked or not, in the page's order.
export function logOutBody(page, { remember = false } = {}) {
  const [, fields] = page.match(/<form method="post" action="logout[^"]*">([\s\S]*?)<\/form>/);
  const sent = [...fields.matchAll(/<input type="(hidden|checkbox)" name="([^"]*)" value="([^"]*)">/g)]
    .filter(([, type]) => type === "hidden" || remember);
  return form(sent.map(([, , name, value]) => [name, value]));
}

// Whether the client has a session, as its status page says.
export async function isLoggedIn(portal, client) {
  const answer = await request(portal.port, { client, path: "/status" });
  if (answer.status === 302) return false;
  assert.equal(answer.status, 200);
  assert.match(answer.body, /<h1>Your session<\/h1>/);
  return true;
}
