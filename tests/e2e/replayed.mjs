// Pages as the real module renders them for any reply of a manager: hotspot-replay plays the requests.

import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";

const build = process.env.HOTSPOT_BUILD_DIR;
export const pageDirectory = path.join(build, "share/hotspot/pages/");
// The same with the optional pages in place.
export const wholeDirectory = `${fs.mkdtempSync(path.join(os.tmpdir(), "hotspot-pages-"))}/`;
for (const name of ["pages", "optional-pages"]) {
  fs.cpSync(path.join(build, "share/hotspot", name), wholeDirectory, { recursive: true });
}
process.on("exit", () => fs.rmSync(wholeDirectory, { recursive: true }));
export const portalHost = "portal.example.net";

// A scenario's strings have a character for each byte.
const bytes = (text) => Buffer.from(text, "utf8").toString("latin1");

const kFieldOf = {
  loggedIn: "0x00000451", sslLogin: "0x00000452", options: "0x08000450", dnsName: "0x2000044e",
  serverName: "0x20000455", locationId: "0x20000457", locationName: "0x20000458", mac: "0x3000000b",
  username: "0x20000001", domain: "0x20000008", loginBy: "0x20000013", state: "0x08000011",
  loginAt: "0x08000003", endsAt: "0x08000004", idleSecs: "0x0800000e", refreshSecs: "0x08000453",
  bytesIn: "0x10000015", bytesOut: "0x10000017", limitIn: "0x1000001f", limitOut: "0x10000020",
  limitTotal: "0x10000021", chap: "0x2000041b", advert: "0x20000411", message: "0x20000454",
};

const kUptime = 1000000;
export const secondsAgo = (seconds) => kUptime - seconds;
export const secondsAhead = (seconds) => kUptime + seconds;

const query = (parameters) =>
  Object.entries(parameters).map(([name, value]) => `${name}=${encodeURIComponent(value)}`).join("&");

// One scenario of a page: {page, parameters, path, host, method, ssl, flags, reply, error, directory}. `reply` names
// fields as above, `error` is a code.
function scenario(state) {
  const { page = "", parameters = {}, path: asked, host, method = "GET", ssl = false, flags = 0, reply = {}, error } = state;
  const fields = { "0x2000044d": bytes(state.directory ?? pageDirectory) };
  for (const [name, value] of Object.entries({ dnsName: portalHost, ...reply })) {
    assert.ok(kFieldOf[name], name);
    if (value === undefined) continue;
    fields[kFieldOf[name]] = typeof value === "string" && name !== "mac" ? bytes(value) : value;
  }
  const request = { method, ssl, connFlags: flags };
  if (host === undefined) Object.assign(request, { relPath: bytes(page), query: query(parameters) });
  else Object.assign(request, { foreignDst: true, dstHost: bytes(host), path: bytes(asked ?? "/") });
  const answer = { fields };
  if (error !== undefined) answer.error = { code: error, text: "the error text of the manager" };
  return { name: state.name ?? "", request, replies: [answer], uptime: kUptime };
}

// The bodies of the states, in order.
export function render(states) {
  const input = states.map((state) => JSON.stringify(scenario(state))).join("\n");
  const ran = spawnSync(path.join(build, "bin/hotspot-replay"), [],
    { input, encoding: "utf8", maxBuffer: 1 << 30 });
  assert.equal(ran.status, 0, ran.stderr + ran.stdout.slice(0, 1000));
  return ran.stdout.trim().split("\n").map((line, at) => {
    const result = JSON.parse(line);
    assert.equal(result.sendError, null, states[at].name);
    return { ...result, body: Buffer.from(result.body, "latin1") };
  });
}

// Where a browser finds a state.
export function addressOf({ page = "", parameters = {}, path: asked, host, ssl }) {
  if (host !== undefined) return `http://${host}${asked ?? "/"}`;
  const search = query(parameters);
  return `${ssl ? "https" : "http"}://${portalHost}/${page}${search && `?${search}`}`;
}
