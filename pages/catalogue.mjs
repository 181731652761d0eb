// The message catalogues: one PO file a language, its ids short names such as "login.title". English is the
// source: it says which texts there are and which placeholders ("{name}") each has.

import fs from "node:fs";
import path from "node:path";

// What is wrong with the sources, a line each, for whoever edits them.
export class SourceError extends Error {
  constructor(problems) {
    super(problems.join("\n"));
    this.problems = problems;
  }
}

export const kSource = "en";

const placeholders = (text) => [...text.matchAll(/\{([a-z-]+)\}/g)].map((match) => match[1]).sort();

const escaped = (text) =>
  text.replace(/&/g, "&amp;").replace(/</g, "&lt;").replace(/>/g, "&gt;").replace(/"/g, "&quot;");

// The line of each id, to point at; an id that stands twice would silently lose its first text.
function linesOfIds(content, file, problems) {
  const lines = new Map();
  content.split("\n").forEach((line, index) => {
    const id = line.match(/^msgid "(.+)"\s*$/)?.[1];
    if (id === undefined) return;
    if (lines.has(id)) problems.push(`${file}:${index + 1}: "${id}" is there already, on line ${lines.get(id)}`);
    else lines.set(id, index + 1);
  });
  return lines;
}

// One language: the texts by id. Everything that can be said of the file alone is added to `problems`.
function read(file, gettext, problems) {
  const content = fs.readFileSync(file, "utf8");
  const lines = linesOfIds(content, file, problems);
  let parsed;
  try {
    parsed = gettext.po.parse(content);
  } catch (error) {
    problems.push(`${file}: ${error.message}`);
    return undefined;
  }
  const texts = new Map();
  for (const entry of Object.values(parsed.translations[""] ?? {})) {
    if (entry.msgid === "") continue;
    const at = `${file}:${lines.get(entry.msgid) ?? 1}: "${entry.msgid}"`;
    const text = entry.msgstr[0];
    if (text === "") problems.push(`${at} has no text`);
    if (entry.comments?.flag?.includes("fuzzy")) problems.push(`${at} is marked fuzzy: look at it, then take the mark away`);
    if (/[%\n\r\t]|\$\(/.test(text)) {
      problems.push(`${at} holds a line break, a tab, a percent sign or "$(", which the template engine would take`);
    }
    if (/-->|--!>/.test(text)) problems.push(`${at} would end a comment`);
    texts.set(entry.msgid, text);
  }
  if (Object.keys(parsed.obsolete ?? {}).length > 0) problems.push(`${file}: has texts that are out of use ("#~"): delete them`);
  return { texts, at: (id) => `${file}:${lines.get(id) ?? 1}` };
}

function compare(source, catalogue, file, problems) {
  for (const [id, text] of source.texts) {
    const translated = catalogue.texts.get(id);
    if (translated === undefined) {
      problems.push(`${file}: "${id}" is missing: ${JSON.stringify(text)}`);
    } else if (placeholders(translated).join() !== placeholders(text).join()) {
      problems.push(`${catalogue.at(id)}: "${id}" has the placeholders {${placeholders(translated).join("}, {")}}, `
        + `the English text has {${placeholders(text).join("}, {")}}`);
    }
  }
  for (const id of catalogue.texts.keys()) {
    if (!source.texts.has(id)) problems.push(`${catalogue.at(id)}: "${id}" is not a text of ${kSource}.po`);
  }
}

// Every language of `directory`, English first: {code, text, unused}. `text(id, values)` is the escaped text
// for a page, placeholders replaced by `values`, which are HTML; it throws for what is not there.
export function readCatalogues(directory, gettext) {
  const files = fs.readdirSync(directory).filter((name) => name.endsWith(".po")).sort();
  if (!files.includes(`${kSource}.po`)) throw new SourceError([`${directory}: ${kSource}.po is missing`]);
  const problems = [];
  const catalogues = new Map();
  for (const name of files) {
    const code = name.slice(0, -".po".length);
    if (!/^[a-z]{2,3}$/.test(code)) problems.push(`${path.join(directory, name)}: is to be named by a language's two or three letters`);
    const catalogue = read(path.join(directory, name), gettext, problems);
    if (catalogue !== undefined) catalogues.set(code, catalogue);
  }
  const source = catalogues.get(kSource);
  for (const [code, catalogue] of catalogues) {
    if (source !== undefined && code !== kSource) compare(source, catalogue, path.join(directory, `${code}.po`), problems);
  }
  if (problems.length > 0) throw new SourceError(problems);

  const used = new Set();
  const languages = [...catalogues].map(([code, { texts }]) => ({
    code,
    text(id, values = {}) {
      const text = texts.get(id);
      if (text === undefined) throw new SourceError([`${path.join(directory, `${kSource}.po`)}: "${id}" is missing, which a layout asks for`]);
      used.add(id);
      const wanted = placeholders(text).filter((name, at, all) => all.indexOf(name) === at).join();
      const given = Object.keys(values).filter((name) => name !== "__keywords").sort().join();
      if (wanted !== given) throw new SourceError([`"${id}" has the placeholders {${wanted}}, a layout gives {${given}}`]);
      return escaped(text).replace(/\{([a-z-]+)\}/g, (_, name) => values[name]);
    },
  }));
  languages.sort((a, b) => (b.code === kSource) - (a.code === kSource) || (a.code < b.code ? -1 : 1));
  const unused = () => [...source.texts.keys()].filter((id) => !used.has(id))
    .map((id) => `${source.at(id)}: "${id}" is used by no layout: delete it from every catalogue`);
  return { languages, unused };
}
