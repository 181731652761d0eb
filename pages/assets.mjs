// Scripts, styles and the page's policy: what is written into a page and what is a file beside it.

import crypto from "node:crypto";
import fs from "node:fs";
import path from "node:path";

import { SourceError } from "./catalogue.mjs";

// Comments and indentation are for who reads the sources. A script's comment has a line of its own.
const smallScript = (text) => text.replace(/^\s*\/\/.*\n/gm, "").replace(/^\s+/gm, "");
const smallStyle = (text) => text.replace(/\/\*[\s\S]*?\*\//g, "").replace(/^\s+/gm, "").replace(/\n{2,}/g, "\n");

export class Assets {
  constructor(directory) {
    this.directory = directory;
  }

  #read(name) {
    return fs.readFileSync(path.join(this.directory, name), "utf8");
  }

  // The named files of scripts/ as one script that leaves no names behind.
  script(...names) {
    const body = names.map((name) => this.#read(`scripts/${name}.js`)).join("\n");
    return `(function () {\n"use strict";\n${smallScript(body)}})();\n`;
  }

  // The named files of style/ as one style.
  style(...names) {
    return smallStyle(names.map((name) => this.#read(`style/${name}.css`)).join("\n"));
  }
}

// Whatever stands in a page belongs to the template engine as well, which knows no scripts.
function checkInline(kind, text) {
  if (/%|\$\(/.test(text)) throw new SourceError([`a ${kind} that stands in a page holds "%" or "$(", which the template engine would take`]);
}

const hashOf = (text) => `'sha256-${crypto.createHash("sha256").update(text, "utf8").digest("base64")}'`;

// Writes the page's policy in the place of @POLICY@: nothing but what `allowed` names, and the scripts and
// styles of the page itself, by their hashes.
export function withPolicy(html, allowed) {
  const policy = new Map(Object.entries({ "default-src": "'none'", "img-src": "data:", "base-uri": "'none'", ...allowed }));
  for (const [kind, rule] of [["script", "script-src"], ["style", "style-src"]]) {
    for (const [, text] of html.matchAll(new RegExp(`<${kind}>([\\s\\S]*?)</${kind}>`, "g"))) {
      checkInline(kind, text);
      const known = policy.get(rule);
      if (!known?.includes(hashOf(text))) policy.set(rule, [known, hashOf(text)].filter(Boolean).join(" "));
    }
  }
  return html.replace("@POLICY@", [...policy].map((rule) => rule.join(" ")).join("; "));
}
