// HTTP as the tests need it: one request, one answer, everything about the request in the test's hand.

import http from "node:http";
import https from "node:https";
import net from "node:net";

// Sends one request on a connection of its own and resolves to {status, reason, headers, rawHeaders,
// body}. Options: method, path, headers, body (text; sent as a form), client (the loopback address that
// the request comes from), tls, timeoutMs.
export function request(port, options = {}) {
  const { method = "GET", path = "/", headers = {}, body, client = "127.0.0.1", tls = false,
    timeoutMs = 30000 } = options;
  const sent = { ...headers };
  if (body !== undefined) {
    sent["Content-Type"] ??= "application/x-www-form-urlencoded";
    sent["Content-Length"] = Buffer.byteLength(body);
  }
  return new Promise((resolve, reject) => {
    const call = (tls ? https : http).request({
      host: "127.0.0.1", port, method, path, headers: sent, localAddress: client, agent: false,
      rejectUnauthorized: false, timeout: timeoutMs,
    }, (answer) => {
      const pieces = [];
      answer.on("data", (piece) => pieces.push(piece));
      answer.on("error", reject);
      answer.on("end", () => resolve({
        status: answer.statusCode,
        reason: answer.statusMessage,
        headers: answer.headers,
        rawHeaders: answer.rawHeaders,
        body: Buffer.concat(pieces).toString("utf8"),
      }));
    });
    call.on("timeout", () => call.destroy(new Error(`no answer within ${timeoutMs} ms`)));
    call.on("error", reject);
    call.end(body);
  });
}

// A request for another site, as the hotspot's redirect rule would hand it over.
export function intercepted(port, host, options = {}) {
  return request(port, { ...options, headers: { Host: host, ...options.headers } });
}

// Writes `bytes` to the port as they are and resolves to all that comes back until the server closes.
export function exchangeRaw(port, bytes, client = "127.0.0.1") {
  return new Promise((resolve, reject) => {
    const pieces = [];
    const socket = net.connect({ host: "127.0.0.1", port, localAddress: client });
    socket.setTimeout(30000, () => socket.destroy(new Error("the server did not close")));
    socket.on("connect", () => socket.write(bytes));
    socket.on("data", (piece) => pieces.push(piece));
    socket.on("error", reject);
    socket.on("close", (failed) => {
      if (!failed) resolve(Buffer.concat(pieces).toString("latin1"));
    });
  });
}

export const form = (fields) => new URLSearchParams(fields).toString();
