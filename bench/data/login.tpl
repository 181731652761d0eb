<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>{{server_name:h}} - log in</title>
<style>
:root { color-scheme: light dark; --ink: #1b1f24; --paper: #fff; --accent: #0a5bd3; --line: #c8ced6; }
@media (prefers-color-scheme: dark) { :root { --ink: #e8ebef; --paper: #14171b; --line: #3a424c; } }
body { margin: 0; font: 16px/1.5 system-ui, sans-serif; color: var(--ink); background: var(--paper); }
main { max-width: 26rem; margin: 2rem auto; padding: 0 1rem; }
label { display: block; margin: 1rem 0 .25rem; font-weight: 600; }
input { display: block; box-sizing: border-box; inline-size: stretch; padding: .6rem; border: 1px solid var(--line); font: inherit; }
button { margin-top: 1.25rem; inline-size: stretch; padding: .7rem; border: 0; background: var(--accent); color: #fff; font: inherit; }
.error { border-left: .25rem solid #b3261e; padding: .5rem .75rem; margin: 1rem 0; }
footer { margin-top: 2rem; font-size: .875rem; opacity: .8; }
</style>
</head>
<body>
<main>
<h1>{{#server_name_set}}{{server_name:h}}{{/server_name_set}}{{#no_server_name_set}}Wireless network{{/no_server_name_set}}</h1>
{{#trial_is_yes}}<p>Free for a while: <a href="{{link_login_only:h}}?dst={{link_orig:u}}&amp;username=T-{{mac:u}}">try it</a></p>
{{/trial_is_yes}}{{#logged_in_is_yes}}<p>Logged in as {{username:h}}. <a href="{{link_status:h}}">Status</a> <a href="{{link_logout:h}}">Log out</a></p>
{{/logged_in_is_yes}}{{#error_set}}<p class="error" role="alert">{{error:h}}</p>
{{/error_set}}{{#error_type_is_invalid_user}}<p>Look at capital letters in name and password.</p>
{{/error_type_is_invalid_user}}{{#error_type_set}}<p>Please ask at the desk and say: {{error_type:h}}</p>
{{/error_type_set}}{{#session_time_left_set}}<p>You still have {{session_time_left:h}}.</p>
{{/session_time_left_set}}{{#remain_bytes_total_set}}<p>You may still transfer {{remain_bytes_total_nice:h}}.</p>
{{/remain_bytes_total_set}}<p>You are about to use the network of this house. Your address here is {{ip:h}}, the device's own is {{mac:h}}. What you
send and receive is not looked into, but the house keeps a note of who was connected when, for as long as the law asks
for it. Please be kind to the others who share the line with you: it is as wide as it is.</p>
{{#chap_id_set}}<form name="sendin" action="{{link_login_only:h}}" method="post">
<input type="hidden" name="username"><input type="hidden" name="password">
<input type="hidden" name="dst" value="{{link_orig:h}}"><input type="hidden" name="popup" value="true">
</form>
<script>
function send() {
  const form = document.forms.login;
  document.sendin.username.value = form.username.value;
  document.sendin.password.value = hexMD5('{{chap_id:h}}' + form.password.value + '{{chap_challenge:h}}');
  document.sendin.submit();
  return false;
}
</script>
{{/chap_id_set}}<form name="login" action="{{link_login_only:h}}" method="post"{{#chap_id_set}} onsubmit="return send()"{{/chap_id_set}}>
<input type="hidden" name="dst" value="{{link_orig:h}}"><input type="hidden" name="popup" value="true">
<label for="username">User name</label>
<input id="username" name="username" value="{{username:h}}" autocomplete="username" autocapitalize="none" spellcheck="false">
<label for="password">Password</label>
<input id="password" name="password" type="password" autocomplete="current-password">
{{#domain_set}}<input type="hidden" name="domain" value="{{domain:h}}">
{{/domain_set}}{{#ssl_login_is_yes}}<p>Your password travels encrypted.</p>
{{/ssl_login_is_yes}}{{#plain_passwd_is_yes}}<p>Passwords may be sent as they are here: prefer the encrypted page where there is one.</p>
{{/plain_passwd_is_yes}}<button>Log in</button>
</form>
<footer>
<p>{{identity:h}} at {{hostname:h}}, {{server_address:h}}</p>
<p>Opening hours: daily from seven in the morning to eleven in the evening. The garden has the same network as the house,
the parking lot has none. If a page does not open, switch the radio of your device off and on again, and open any page
whose address begins with http: you will come back here. Nobody at the desk will ever ask for your password.</p>
<p>This page works without scripts where the password travels encrypted. It sets no cookies but the one that remembers
your device, and only when the house says so; it asks nothing of any other site, loads no fonts and counts nobody.</p>
<p>The wide screen in the hall shows what is on tonight: films on Tuesdays and Fridays, the quiz on Thursdays, and music
in the garden whenever the weather lets us. Breakfast is from seven to ten, at weekends to eleven; the kitchen closes at
nine in the evening. Bicycles can be had at the desk for the day, maps of the shore and of the forest lie beside the door
for nothing. The last boat leaves the pier half an hour before sunset, the last bus shortly before midnight. If you come
home later than that, ring twice: somebody is awake all night, and glad of company.</p>
<p>The sauna is warm from five in the afternoon; the key hangs behind the bar. Dogs are welcome, on a lead in the house.</p>
<p>Printed at the desk are vouchers for a day, a week and a month. A voucher is a name and a password: type both as they
are printed. Lost vouchers are replaced when you bring the receipt; unused time is carried over to the next voucher.</p>
</footer>
</main>
</body>
</html>
