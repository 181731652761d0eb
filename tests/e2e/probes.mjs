// The questions by which devices find out whether they are online (tests/data/probes.json), a device that asks
// them, what it makes of an answer, and the table in docs/probes.md. Run by itself it writes that table anew.

import assert from "node:assert/strict";
import fs from "node:fs";
import net from "node:net";

const beside = (name) => new URL(`../../${name}`, import.meta.url);
export const probes = JSON.parse(fs.readFileSync(beside("tests/data/probes.json"), "utf8"));
export const docs = beside("docs/probes.md");

// "online", "captive" (the assistant opens) or "failed" (neither), as the device reads an answer.
export function verdict(probe, answer) {
  const { status, body, contains, header } = probe.online;
  const right = answer.status === status &&
    (body === undefined || answer.body.trim() === body) &&
    (contains === undefined || answer.body.includes(contains)) &&
    (header === undefined || answer.headers[header[0].toLowerCase()] === header[1]);
  if (right) return "online";
  return probe.opens.some(([from, to]) => from <= answer.status && answer.status <= to) ? "captive" : "failed";
}

// The answer that the host of the question gives to whoever reaches it.
export function realAnswer(probe) {
  const { status, body, contains, header } = probe.online;
  const text = body ?? (contains && `<html><body>${contains}</body></html>`) ?? "";
  const fields = header ? `${header[0]}: ${header[1]}\r\n` : "";
  const length = status === 204 ? "" : `Content-Length: ${Buffer.byteLength(text)}\r\n`;
  return `HTTP/1.1 ${status} Fine\r\n${fields}${length}\r\n${text}`;
}

// What the device sends. Without its own `Connection` field it asks to keep the connection.
export function requestText(probe, { keep = false, url = probe.url } = {}) {
  const { host, pathname, search } = new URL(url);
  const fields = { Host: host, ...(probe.agent && { "User-Agent": probe.agent }), ...probe.headers };
  if (keep) fields.Connection = "keep-alive";
  const lines = Object.entries(fields).map(([name, value]) => `${name}: ${value}\r\n`);
  return `GET ${pathname}${search} HTTP/${probe.http ?? "1.1"}\r\n${lines.join("")}\r\n`;
}

// One answer at the beginning of what came; nothing while it is not whole.
function takeAnswer(text, ended) {
  const end = text.indexOf("\r\n\r\n");
  if (end < 0) return undefined;
  const [line, ...fields] = text.slice(0, end).split("\r\n");
  const headers = {};
  for (const field of fields) {
    const [, name, value] = field.match(/^([^:]+): *(.*)$/);
    assert.equal(headers[name.toLowerCase()], undefined, `${name} is there twice: ${text}`);
    headers[name.toLowerCase()] = value;
  }
  const status = Number(line.split(" ")[1]);
  const length = status === 204 ? 0 : Number(headers["content-length"] ?? (ended ? text.length - end - 4 : NaN));
  if (!(text.length >= end + 4 + length)) return undefined;
  return { status, headers, body: text.slice(end + 4, end + 4 + length), bytes: end + 4 + length };
}

// A device at one address. It keeps its connection for as long as the other side lets it, as the programs do
// that ask again and again.
export class Device {
  constructor(port, address) {
    this.port = port;
    this.address = address;
    this.connections = 0;
  }

  // Asks and resolves to the answer; the connection is a new one when the last was closed.
  async ask(text) {
    if (this.socket === undefined || this.over) await this.#connect();
    this.socket.write(text);
    for (;;) {
      const answer = takeAnswer(this.input, this.over);
      if (answer) {
        this.input = this.input.slice(answer.bytes);
        if (answer.headers.connection === "close") await this.#closed();
        return answer;
      }
      assert.ok(!this.over, `the connection ended before an answer: ${this.input}`);
      await this.#news();
    }
  }

  end() {
    this.socket?.destroy();
  }

  async #connect() {
    this.connections += 1;
    this.input = "";
    this.over = false;
    const socket = net.connect({ host: "127.0.0.1", port: this.port, localAddress: this.address });
    this.socket = socket;
    socket.setEncoding("latin1");
    socket.setTimeout(60000, () => socket.destroy());
    const wake = () => this.wake?.();
    socket.on("data", (piece) => { this.input += piece; wake(); });
    socket.on("error", (error) => { this.over = true; this.error = error; wake(); });
    socket.on("close", () => { this.over = true; wake(); });
    await new Promise((resolve, reject) => {
      socket.once("connect", resolve);
      socket.once("error", reject);
    });
  }

  #news() {
    return new Promise((resolve) => { this.wake = resolve; });
  }

  // Who says that the connection closes has to close it: a device that waits for that is not to be left waiting.
  async #closed() {
    while (!this.over) await this.#news();
    assert.equal(this.input, "", "nothing follows the last answer");
  }
}

const cell = (text) => text.replaceAll("|", "\\|").replaceAll("<", "&lt;");

function onlineIs({ status, body, contains, header }) {
  const more = (body && `, \`${body}\``) || (contains && `, a page with \`${contains}\``) ||
    (header && `, with \`${header.join(": ")}\``) || "";
  return `${status}${more}`;
}

// The rows of docs/probes.md, a probe each.
export function table() {
  const rows = probes.map((probe) => [
    cell(probe.system),
    `\`GET ${probe.url}\`${probe.http ? ` (HTTP/${probe.http})` : ""}` +
      (probe.agent ? `, as \`${probe.agent.split(" ").length > 3 ? "Mozilla/5.0 ..." : probe.agent}\`` : ""),
    onlineIs(probe.online).replaceAll("|", "\\|"),
    cell(probe.opensOn),
    probe.then === undefined ? "" : (probe.then === probe.url ? "the same" : `\`${probe.then}\``),
    cell(probe.closes),
    cell(probe.source),
  ]);
  const head = ["who", "asks", "online is", "the assistant opens on", "and shows", "it closes", "source"];
  return [head, head.map(() => "---"), ...rows].map((row) => `| ${row.join(" | ")} |\n`).join("");
}

export const kBegin = "<!-- The table is written by tests/e2e/probes.mjs from tests/data/probes.json. -->\n";
export const kEnd = "<!-- end of the table -->\n";

// The document with the table as it has to be.
export function written(text) {
  const begin = text.indexOf(kBegin);
  const end = text.indexOf(kEnd);
  assert.ok(begin >= 0 && end > begin, "docs/probes.md has the two marks of its table");
  return `${text.slice(0, begin)}${kBegin}\n${table()}\n${text.slice(end)}`;
}

if (process.argv[1] === new URL(import.meta.url).pathname) {
  fs.writeFileSync(docs, written(fs.readFileSync(docs, "utf8")));
}
