// The login page as a browser without a script engine sees it, and what its script would send.

import crypto from "node:crypto";

const unescape = (escaped) => decodeURIComponent(escaped.replace(/\+/g, " "));

function attribute(tag, name) {
  const found = tag.match(new RegExp(`\\s${name}="([^"]*)"`));
  return found === null ? undefined : found[1].replace(/&amp;/g, "&");
}

// The login form of a page: {action, chapId, chapChallenge, plain}, or undefined when it has none.
// The two CHAP values are bytes.
export function readLoginForm(page) {
  const tag = page.match(/<form id="login"[^>]*>/);
  if (tag === null) return undefined;
  const bytes = (name) => Buffer.from(
    [...unescape(attribute(tag[0], name)).matchAll(/\\([0-7]{3})/g)].map((m) => parseInt(m[1], 8)));
  return {
    action: attribute(tag[0], "action"),
    chapId: bytes("data-chap-id"),
    chapChallenge: bytes("data-chap-challenge"),
    plain: attribute(tag[0], "data-plain") === "yes",
  };
}

// The CHAP answer: MD5 of identifier, password and challenge, in hexadecimal.
export function chapAnswer(loginForm, password) {
  return crypto.createHash("md5")
    .update(loginForm.chapId).update(password, "utf8").update(loginForm.chapChallenge)
    .digest("hex");
}

// The text of the first element with this id, without its tags.
export function textOf(page, id) {
  const found = page.match(new RegExp(`<(\\w+)[^>]*\\sid="${id}"[^>]*>([\\s\\S]*?)</\\1>`));
  return found === null ? undefined : found[2].replace(/<[^>]*>/g, "").trim();
}
