// What the gallery and the page of one state share. Texts go into the document as texts only.

export const devices = [
  { name: "phone", width: 375, height: 667 },
  { name: "desktop", width: 1280, height: 800 },
];

// An element with attributes, and texts or elements in it.
export function make(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (value === true) element.setAttribute(name, "");
    else if (value !== false && value !== undefined) element.setAttribute(name, value);
  }
  element.append(...children);
  return element;
}

// The answer as JSON; throws an error with the preview's own words.
export async function ask(path) {
  const answer = await fetch(path);
  if (!answer.ok) throw new Error((await answer.text()).trim());
  return answer.json();
}

export const dataOf = (name, query) => ask(`/api/state/${encodeURIComponent(name)}${query}`);

// "?target=de" from values; nothing from none.
export function queryOf(values) {
  const text = new URLSearchParams(values).toString();
  return text && `?${text}`;
}

// The page in a frame as wide as the device, drawn as small as its box is.
export function frameOf(data, device, colours) {
  return make("iframe", {
    src: data.frame, title: `${data.title}, on a ${device.name}`, width: device.width, height: device.height,
    sandbox: "allow-scripts allow-forms allow-same-origin", class: colours && `only-${colours}`,
  });
}

export function boxOf(device) {
  return make("div", { class: `device ${device.name}` });
}

const sizes = new ResizeObserver((entries) => {
  for (const { target, contentRect } of entries) {
    const device = devices.find(({ name }) => target.classList.contains(name));
    target.style.setProperty("--scale", String(contentRect.width / device.width));
  }
});

// Keeps the frames in a box as small as the box.
export function keepScaled(box) {
  sizes.observe(box);
  return box;
}

// What came back, in a few words.
export function noteOf(data) {
  if (data.location) return `${data.status}: on to ${data.location}`;
  if (data.status !== 200) return `answered with ${data.status}`;
  if (data.shown && data.file && !data.file.endsWith(`${data.shown}.html`)) return `in the place of ${data.shown}.html`;
  return "";
}
