// One state: its page on both devices, the values that make it, and the page variables that come of them.

import { boxOf, dataOf, devices, frameOf, keepScaled, make, noteOf, queryOf } from "./parts.js";

const kSettleMs = 250;

// The field that changes one value.
function fieldOf(setting, value, id) {
  const common = { id, name: setting.name, autocomplete: "off", "data-kind": setting.kind };
  if (setting.kind === "flag") {
    const box = make("input", { ...common, type: "checkbox" });
    box.checked = value === "yes";
    return box;
  }
  if (setting.kind === "method") {
    const list = make("select", common, make("option", {}, "GET"), make("option", {}, "POST"));
    list.value = value;
    return list;
  }
  const isNumber = ["number", "ago", "left"].includes(setting.kind);
  const input = make("input", { ...common, type: "text", inputmode: isNumber ? "numeric" : undefined, spellcheck: "false" });
  input.value = value;
  return input;
}

const valueIn = (field) => (field.type === "checkbox" ? (field.checked ? "yes" : "no") : field.value);
const isSame = (setting, a, b) => a === b || (setting.kind === "flag" && (a || "no") === (b || "no"));

function formOf(settings, onChange) {
  const rows = settings.map((setting) => {
    const field = fieldOf(setting, "", `value-${setting.name}`);
    const reset = make("button", { type: "button", class: "reset", hidden: true, title: "As it was" }, "undo");
    const row = make("div", { class: `row ${setting.kind}` }, make("label", { for: field.id }, setting.label), field, reset);
    field.addEventListener("input", onChange);
    reset.addEventListener("click", () => {
      put({ setting, field }, reset.dataset.usual);
      field.focus();
      onChange();
    });
    return { setting, field, reset, row };
  });
  const put = ({ setting, field }, value) => {
    if (setting.kind === "flag") field.checked = value === "yes";
    else field.value = value;
  };
  const sections = [...new Set(settings.map(({ group }) => group))].map((group) => {
    const own = rows.filter(({ setting }) => setting.group === group);
    return { own, element: make("details", {}, make("summary", {}, group), ...own.map(({ row }) => row)) };
  });
  const sectionOf = (name) => sections.find(({ own }) => own.some(({ setting }) => setting.name === name)).element;
  return {
    element: make("form", { class: "values", "aria-label": "Values of this state" }, ...sections.map(({ element }) => element)),
    // What differs from the state as it is.
    changed: () => rows.filter(({ setting, field, reset }) => !isSame(setting, valueIn(field), reset.dataset.usual))
      .map(({ setting, field }) => [setting.name, valueIn(field)]),
    // The group that says most of the state.
    openMain(values) {
      const main = Number(values["error-code"]) ? "error-code" : values["logged-in"] === "yes" ? "logged-in" : "page";
      sectionOf(main).open = true;
    },
    // Fills the fields, but for the one in which somebody is writing.
    fill(values, usual) {
      for (const each of rows) {
        const { setting, field, reset, row } = each;
        reset.dataset.usual = usual[setting.name];
        if (document.activeElement !== field) put(each, values[setting.name]);
        const isChanged = !isSame(setting, values[setting.name], usual[setting.name]);
        row.classList.toggle("changed", isChanged);
        reset.hidden = !isChanged;
      }
      for (const { own, element } of sections) {
        if (own.some(({ row }) => row.classList.contains("changed"))) element.open = true;
      }
    },
  };
}

function variablesOf(variables) {
  const groups = [...new Set(variables.map(({ group }) => group))].sort();
  return groups.map((group) => make("section", {}, make("h3", {}, group), make("table", {},
    make("tbody", {}, ...variables.filter((each) => each.group === group).map(({ name, value, meaning }) =>
      make("tr", { "data-variable": name, title: meaning },
        make("th", { scope: "row" }, make("code", {}, `$(${name})`)),
        make("td", { class: value ? "" : "empty" }, value || "empty")))))));
}

// Shows a state in `content`; the values are those of the address.
export function showState({ state, gallery, content, colours, address }) {
  const at = gallery.states.indexOf(state);
  const target = new URLSearchParams(location.search).get("target");
  const wayTo = (other, text) => other && make("a", {
    href: address(`/state/${other.name}`, target ? { target } : {}), "data-state": other.name, title: other.title,
  }, text);
  const note = make("p", { class: "note" });
  const wrong = make("p", { class: "problem", role: "alert", hidden: true });
  const boxes = devices.map((device) => keepScaled(boxOf(device)));
  const openLink = make("a", { target: "_blank", rel: "noopener" }, "open alone");
  const variables = make("div", { class: "variables" });
  const size = make("span", {});
  let timer;
  let shown;  // address and version of the frames
  let asked = 0;

  const form = formOf(gallery.settings, () => {
    clearTimeout(timer);
    timer = setTimeout(() => {
      history.replaceState(null, "", address(location.pathname, form.changed()));
      update(false);
    }, kSettleMs);
  });
  form.element.addEventListener("submit", (event) => event.preventDefault());

  async function update(anew) {
    const number = ++asked;
    try {
      const data = await dataOf(state.name, location.search);
      if (number !== asked) return;
      wrong.hidden = true;
      note.textContent = noteOf(data);
      size.textContent = `${data.file || data.contentType || "no page"}, ${data.bytes} bytes`;
      openLink.href = data.frame;
      if (!shown) form.openMain(data.values);
      form.fill(data.values, data.usual);
      variables.replaceChildren(...variablesOf(data.variables));
      if (!data.variables.length) variables.replaceChildren(make("p", { class: "note" }, "No page is shown here, so no variables are."));
      if (!anew && shown === data.frame) return;
      shown = data.frame;
      boxes.forEach((box, device) => box.replaceChildren(frameOf(data, devices[device], colours.value)));
    } catch (error) {
      if (number !== asked) return;
      wrong.textContent = error.message;
      wrong.hidden = false;
    }
  }

  document.title = `${state.title} - ${state.group}`;
  content.replaceChildren(
    make("nav", { class: "around", "aria-label": "States" },
      make("a", { href: address("/", target ? { target } : {}), "data-back": "" }, "All states"),
      ...[wayTo(gallery.states[at - 1], "Previous"), wayTo(gallery.states[at + 1], "Next")].filter(Boolean)),
    make("div", { class: "one-state" },
      make("section", { class: "pages" },
        make("header", {}, make("p", { class: "group" }, state.group), make("h1", {}, state.title),
          make("p", { class: "facts" }, make("code", {}, state.name), " ", size, " ", openLink), note, wrong),
        make("div", { class: "devices" }, ...boxes),
        make("p", { class: "note" }, "Links and forms work: a log-in succeeds whatever is typed. A page that leads on by itself is held.")),
      make("aside", {},
        make("section", {}, make("h2", {}, "Values"), make("p", { class: "note" }, "The request and the manager's reply. Change them; the address of this window keeps them."), form.element),
        make("section", {}, make("h2", {}, "Page variables"), make("p", { class: "note" }, "What the module makes of them for this page."), variables))));
  update(true);
  return {
    leave: () => clearTimeout(timer),
    reload: () => update(true),
    filter: () => {},
    covers: (states) => states.some(({ name }) => name === state.name),
  };
}
