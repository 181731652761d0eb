// What the pages do in the browser. Values of page variables reach this file only in their "-esc"
// form, as data attributes. Every page stays readable when this file does not load.
(function () {
  "use strict";

  // The text behind an "-esc" value. Only ASCII is unescaped when the bytes are not UTF-8: an
  // address with the other bytes still escaped is the same address.
  function decode(escaped) {
    var text = escaped.replace(/\+/g, " ");
    try {
      return decodeURIComponent(text);
    } catch (e) {
      return text.replace(/%[0-7][0-9A-F]/g, function (hex) {
        return String.fromCharCode(parseInt(hex.slice(1), 16));
      });
    }
  }

  // The bytes of a CHAP value: each is a backslash and three octal digits.
  function octalBytes(escaped) {
    return (decode(escaped).match(/[0-7]{3}/g) || []).map(function (digits) {
      return parseInt(digits, 8);
    });
  }

  function utf8Bytes(text) {
    return unescape(encodeURIComponent(text)).split("").map(function (c) {
      return c.charCodeAt(0);
    });
  }

  function each(selector, action) {
    Array.prototype.forEach.call(document.querySelectorAll(selector), action);
  }

  function niceBytes(count) {
    var units = ["B", "KiB", "MiB", "GiB", "TiB"], unit = 0;
    for (; count >= 2048 && unit < 4; unit++) count /= 1024;
    return (unit ? count.toFixed(1) : count) + " " + units[unit];
  }

  // Fields that are to hold what was entered before.
  each("[data-value]", function (input) {
    input.value = decode(input.getAttribute("data-value"));
  });

  // Links that leave the hotspot: shown only when they lead to the web.
  each("a[data-href]", function (link) {
    var target = decode(link.getAttribute("data-href"));
    if (!/^https?:\/\/[^\/\\\x00-\x20][^\x00-\x1f]*$/i.test(target)) return;
    link.href = target;
    link.hidden = false;
  });

  // Byte counts. What remains of a limit that is used up is a number that wrapped below zero.
  each("[data-bytes]", function (place) {
    var count = Number(place.textContent);
    place.textContent = count >= Math.pow(2, 63) ? "none" : niceBytes(count);
  });

  var form = document.getElementById("login");
  if (!form) return;
  var button = form.querySelector("button");
  button.disabled = false;

  function refuse(why) {
    document.getElementById("error").textContent = why;
  }

  // Over plain HTTP the password itself never leaves the page unless the hotspot allows it: what is
  // sent is MD5(identifier + password + challenge), in a form of its own, so that nothing remembers
  // the digest as the password.
  form.addEventListener("submit", function (event) {
    var id = octalBytes(form.getAttribute("data-chap-id"));
    if (/^https:/i.test(form.action)) return;
    if (!id.length && form.getAttribute("data-plain") === "yes") return;
    event.preventDefault();
    if (!id.length || typeof md5 !== "function") {
      refuse("The password cannot be protected at the moment. Please reload this page.");
      return;
    }
    var challenge = octalBytes(form.getAttribute("data-chap-challenge"));
    var sent = document.createElement("form");
    var fields = {
      username: form.elements.username.value,
      password: md5(id.concat(utf8Bytes(form.elements.password.value), challenge))
    };
    sent.method = "post";
    sent.action = form.action;
    Object.keys(fields).forEach(function (name) {
      var input = document.createElement("input");
      input.type = "hidden";
      input.name = name;
      input.value = fields[name];
      sent.appendChild(input);
    });
    form.elements.password.value = "";
    button.disabled = true;
    document.body.appendChild(sent);
    sent.submit();
  });

  // A page that the browser kept and shows again on the way back holds a challenge that was used
  // already.
  window.addEventListener("pageshow", function (event) {
    var back = window.performance && performance.navigation && performance.navigation.type === 2;
    if (event.persisted || back) location.replace(form.action);
  });
})();
