// The gallery: every state in its group. Frames are there while they are near the window.

import { ask, boxOf, dataOf, devices, frameOf, keepScaled, make, noteOf, queryOf } from "./parts.js";
import { showState } from "./state.js";

const find = document.getElementById("find");
const language = document.getElementById("language");
const colours = document.getElementById("colours");
const content = document.getElementById("content");
const groups = document.querySelector("#groups ul");

let gallery;
let view;  // what is in the content now: {reload, leave}

// The address has it all: /state/NAME?VALUES#COLOURS, or /?target=LANGUAGE#COLOURS.
const stateName = () => (location.pathname.match(/^\/state\/([^/]+)$/) ?? [])[1];
const address = (path, values) => path + queryOf(values) + (colours.value && `#${colours.value}`);
const languageValues = () => (language.value ? { target: language.value } : {});

function languageName(code) {
  try {
    const name = new Intl.DisplayNames([code], { type: "language" }).of(code);
    return name === code ? code : `${name} (${code})`;
  } catch {
    return code;
  }
}

const kLanguage = "Language: ";
const groupName = (group) =>
  (group.startsWith(kLanguage) ? `In ${languageName(group.slice(kLanguage.length))}` : group);
const groupId = (group) => `group-${group.replace(/[^a-z0-9]+/gi, "-").toLowerCase()}`;

class Card {
  constructor(state) {
    this.state = state;
    this.tag = make("span", { class: "tag" }, state.page ? `${state.page}.html` : "no page");
    this.note = make("p", { class: "note" });
    this.link = make("a", { href: address(`/state/${state.name}`, languageValues()), "data-state": state.name }, state.title);
    this.boxes = devices.map((device) => keepScaled(boxOf(device)));
    this.element = make("article", { class: "card", "data-state": state.name },
      make("header", {}, make("h3", {}, this.link), this.tag, this.note),
      make("div", { class: "devices", inert: true }, ...this.boxes));
    this.words = `${state.name} ${state.title} ${state.page} ${state.group}`.toLowerCase();
  }

  async show() {
    this.near = true;
    try {
      const data = await dataOf(this.state.name, queryOf(languageValues()));
      if (!this.near) return;
      this.note.textContent = noteOf(data);
      this.tag.textContent = data.file || (this.state.page ? `${this.state.page}.html` : data.contentType);
      this.boxes.forEach((box, at) => box.replaceChildren(frameOf(data, devices[at], colours.value)));
    } catch (error) {
      this.note.textContent = error.message;
    }
  }

  hide() {
    this.near = false;
    for (const box of this.boxes) box.replaceChildren();
  }
}

function showGallery() {
  const cards = gallery.states.map((state) => new Card(state));
  const byElement = new Map(cards.map((card) => [card.element, card]));
  const near = new IntersectionObserver((entries) => {
    for (const { target, isIntersecting } of entries) {
      const card = byElement.get(target);
      if (isIntersecting) card.show();
      else card.hide();
    }
  }, { rootMargin: "600px 0px" });
  const sections = [...new Set(gallery.states.map(({ group }) => group))].map((group) => {
    const own = cards.filter(({ state }) => state.group === group);
    const section = make("section", { "aria-labelledby": groupId(group) }, make("h2", { id: groupId(group) }, groupName(group)),
      ...own.map(({ element }) => element));
    const entry = make("li", {}, make("a", { href: `#${groupId(group)}`, "data-group": groupId(group) },
      groupName(group), " ", make("span", { class: "count" }, String(own.length))));
    return { section, entry, own };
  });
  const nothing = make("p", { class: "nothing", hidden: true }, "No state matches.");
  content.replaceChildren(make("h1", { class: "unseen" }, "Every page in every state"), nothing,
    ...sections.map(({ section }) => section));
  groups.replaceChildren(...sections.map(({ entry }) => entry));
  document.title = "Preview of the hotspot's pages";
  for (const card of cards) near.observe(card.element);

  const filter = () => {
    const words = find.value.toLowerCase().split(/\s+/).filter(Boolean);
    for (const card of cards) card.element.hidden = !words.every((word) => card.words.includes(word));
    for (const { section, entry, own } of sections) {
      section.hidden = entry.hidden = own.every(({ element }) => element.hidden);
    }
    nothing.hidden = cards.some(({ element }) => !element.hidden);
  };
  filter();
  return {
    filter,
    leave: () => near.disconnect(),
    reload: () => { for (const card of cards) if (card.near) card.show(); },
    // Of the same states nothing needs to be built anew.
    covers: (states) => JSON.stringify(states) === JSON.stringify(gallery.states),
  };
}

function show() {
  view?.leave();
  view = undefined;
  const name = stateName();
  const look = location.hash.slice(1);
  colours.value = ["light", "dark"].includes(look) ? look : "";
  language.value = new URLSearchParams(location.search).get("target") ?? "";
  if (language.selectedIndex < 0) language.value = "";
  document.body.classList.toggle("one", name !== undefined);
  document.querySelector(".brand a").href = address("/", languageValues());
  const state = gallery.states.find((each) => each.name === name);
  if (name === undefined) view = showGallery();
  else if (state) view = showState({ state, gallery, content, colours, address });
  else content.replaceChildren(make("p", { class: "nothing" }, "There is no state of that name in this directory."));
}

function go(to) {
  history.pushState(null, "", to);
  show();
  scrollTo(0, 0);
}

// Where the gallery was left is where it is found again.
history.scrollRestoration = "manual";
let galleryScroll = 0;
document.addEventListener("click", (event) => {
  const link = event.target.closest?.("a[href]");
  if (!link || event.defaultPrevented || event.button !== 0 || event.ctrlKey || event.metaKey || event.shiftKey) return;
  if (link.dataset.group) {
    // The fragment of the address is the colours'.
    event.preventDefault();
    document.getElementById(link.dataset.group).scrollIntoView();
  } else if (link.dataset.state) {
    event.preventDefault();
    if (stateName() === undefined) galleryScroll = scrollY;
    go(link.href);
  } else if (link.closest(".brand") || link.dataset.back !== undefined) {
    event.preventDefault();
    go(link.href);
    scrollTo(0, galleryScroll);
  }
});
addEventListener("popstate", () => {
  show();
  if (stateName() === undefined) scrollTo(0, galleryScroll);
});

document.getElementById("options").addEventListener("submit", (event) => event.preventDefault());
find.addEventListener("input", () => {
  if (stateName() !== undefined) go(address("/", languageValues()));
  else view.filter();
});
language.addEventListener("change", () => {
  const values = new URLSearchParams(location.search);
  values.delete("target");
  if (language.value) values.set("target", language.value);
  history.replaceState(null, "", address(location.pathname, [...values]));
  show();
});
colours.addEventListener("change", () => {
  history.replaceState(null, "", location.pathname + location.search + (colours.value && `#${colours.value}`) || "/");
  show();
});

// The linter's findings, by file.
const count = (number, noun) => `${number} ${noun}${number === 1 ? "" : "s"}`;
async function showFindings() {
  const box = document.getElementById("findings");
  const { findings, error } = await ask("/api/findings");
  const number = (severity) => findings.filter((finding) => finding.severity === severity).length;
  const worst = ["error", "warning", "note"].find(number);
  box.className = `findings ${error ? "error" : worst ?? "clean"}`;
  box.querySelector("summary").textContent = error ? `The pages cannot be checked: ${error}`
    : worst ? `${count(number("error"), "error")}, ${count(number("warning"), "warning")}, ${count(number("note"), "note")} in the pages`
      : "Nothing to mend in the pages";
  if (!box.dataset.seen) box.open = worst === "error" || worst === "warning";
  box.dataset.seen = "yes";
  const files = [...new Set(findings.map(({ file }) => file))];
  box.querySelector("div").replaceChildren(...files.map((file) => make("section", {}, make("h2", {}, file),
    make("ul", {}, ...findings.filter((finding) => finding.file === file).map((finding) =>
      make("li", { class: finding.severity },
        make("span", { class: "severity" }, finding.severity), " ",
        make("span", { class: "place" }, `line ${finding.line}, column ${finding.column}`), " ",
        make("span", { class: "message" }, finding.message), " ",
        make("code", {}, finding.rule)))))));
}

async function load() {
  const fresh = await ask("/api/gallery");
  const isSame = view?.covers?.(fresh.states);
  gallery = fresh;
  document.getElementById("directory").textContent = gallery.directory;
  const problem = document.getElementById("problem");
  problem.textContent = gallery.problem;
  problem.hidden = !gallery.problem;
  language.replaceChildren(make("option", { value: "" }, "as it comes"),
    ...gallery.languages.map((code) => make("option", { value: code }, languageName(code))));
  language.value = new URLSearchParams(location.search).get("target") ?? "";
  if (isSame) {
    view.reload();
  } else {
    const scroll = scrollY;
    show();
    scrollTo(0, scroll);
  }
  await showFindings();
}

// Changes come as events; a window that nobody sees waits for none, and asks when it is seen again.
const live = document.getElementById("live");
let events;
let isStale = false;  // the preview may be another one by now
let loading = Promise.resolve();
function listen() {
  events = new EventSource("/events");
  events.addEventListener("change", (event) => {
    const { version, files } = JSON.parse(event.data);
    const say = files.length ? `reloaded: ${files.slice(0, 3).join(", ")}${files.length > 3 ? ", ..." : ""}` : "reloads by itself";
    loading = loading.then(async () => {
      if (isStale || gallery?.version !== version) await load();
      isStale = false;
      live.textContent = say;
      live.className = "live";
    }).catch((error) => {
      live.textContent = error.message;
    });
  });
  events.addEventListener("error", () => {
    isStale = true;
    live.textContent = "hotspot-preview does not answer";
    live.className = "live gone";
  });
}
document.addEventListener("visibilitychange", () => {
  if (document.hidden) events.close();
  else listen();
});
listen();
