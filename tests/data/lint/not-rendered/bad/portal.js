var where = decodeURIComponent("$(link-orig-esc)");
