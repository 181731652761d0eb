var name = document.getElementById("who").dataset.name;
