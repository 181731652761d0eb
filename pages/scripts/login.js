// The login forms. Over plain HTTP a password leaves the page only where the hotspot itself asks for it as it is:
// otherwise MD5(identifier + password + challenge) goes, in a form of its own, so that nothing remembers the digest
// as the password.

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

// A voucher's code is the name of its account, so many characters, and the password behind it: what protects a
// password protects the code, and no page shows the whole of it.
var kNameLength = 4;

// Letters and digits of a code, however it was typed: in lower case, with blanks and dashes, on a wide keyboard.
function voucherCode(typed) {
  var code = typed.normalize ? typed.normalize("NFKC") : typed;
  return code.toUpperCase().replace(/[^A-Z0-9]+/g, "");
}

function send(form, fields) {
  var sent = document.createElement("form");
  sent.method = "post";
  sent.action = form.action;
  Object.keys(fields).forEach(function (name) {
    var input = document.createElement("input");
    input.type = "hidden";
    input.name = name;
    input.value = fields[name];
    sent.appendChild(input);
  });
  document.body.appendChild(sent);
  sent.submit();
}

function prepare(form) {
  var isVoucher = form.getAttribute("data-login") === "voucher";
  var username = form.elements.username;
  var button = form.querySelector("button");
  button.disabled = false;
  // What a guest has typed by now stays.
  if (!username.value) username.value = decode(username.getAttribute("data-value"));

  form.addEventListener("submit", function (event) {
    var id = octalBytes(form.getAttribute("data-chap-id"));
    var challenge = octalBytes(form.getAttribute("data-chap-challenge"));
    var isSecure = /^https:/i.test(form.action);
    var asItIs = isSecure || !id.length && form.getAttribute("data-plain") === "yes";
    var code = isVoucher ? voucherCode(username.value) : "";
    var name = isVoucher ? code.slice(0, kNameLength) : username.value;
    var password = isVoucher ? code.slice(kNameLength) : form.elements.password.value;
    if (isVoucher || !asItIs) event.preventDefault();
    if (!asItIs && (!id.length || typeof md5 !== "function")) {
      write(document.getElementById("error"), form.getAttribute("data-unprotected"));
      return;
    }
    write(document.getElementById("busy"), form.getAttribute("data-busy"));
    button.disabled = true;
    if (!isVoucher && asItIs) return;
    if (!isVoucher) form.elements.password.value = "";
    send(form, { username: name, password: asItIs ? password : md5(id.concat(utf8Bytes(password), challenge)) });
  });

  // A page that the browser kept and shows again on the way back holds a challenge that was used already.
  window.addEventListener("pageshow", function (event) {
    var back = window.performance && performance.navigation && performance.navigation.type === 2;
    if (event.persisted || back) location.replace(form.action);
  });
}

each("form[data-login]", prepare);

each("[data-show]", function (box) {
  var input = document.getElementById(box.getAttribute("data-show"));
  box.addEventListener("change", function () {
    input.type = box.checked ? "text" : "password";
  });
});
