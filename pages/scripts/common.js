// What more than one script needs. Values of page variables come as attributes, in their "-esc" form. Where this
// text stands in a page it must not hold a percent sign, which is the engine's: \x25 is one.

// The text behind an "-esc" value. Only ASCII is unescaped when the bytes are not UTF-8: an address with the
// other bytes still escaped is the same address.
function decode(escaped) {
  var text = (escaped || "").replace(/\+/g, " ");
  try {
    return decodeURIComponent(text);
  } catch (e) {
    return text.replace(/\x25[0-7][0-9A-F]/g, function (hex) {
      return String.fromCharCode(parseInt(hex.slice(1), 16));
    });
  }
}

// Whether an address is one of the web, with a host: nothing else is ever opened.
function isWeb(address) {
  return /^https?:\/\/[^\/\\\x00-\x20][^\x00-\x1f]*$/i.test(address);
}

function each(selector, action) {
  Array.prototype.forEach.call(document.querySelectorAll(selector), action);
}
