// What the site's pages do beside what Doxygen brings along: the menu of narrow windows, and members
// of little interest folded away.
(function () {
    "use strict";

    // On a narrow window the navigation is a bar at the top, whose button opens the tree of pages.
    function addMenu() {
        var bar = document.getElementById("side-nav");
        var title = document.getElementById("projectname");
        if (!bar || !title) {
            return;
        }
        title.innerHTML = '<a href="index.html">' + title.innerHTML + "</a>";
        var button = document.createElement("button");
        button.id = "menu-button";
        button.type = "button";
        button.textContent = "Menu";
        button.setAttribute("aria-controls", "nav-tree");
        function show(open) {
            document.body.classList.toggle("menu-open", open);
            button.setAttribute("aria-expanded", String(open));
        }
        button.addEventListener("click", function () {
            show(!document.body.classList.contains("menu-open"));
        });
        document.addEventListener("keydown", function (event) {
            if (event.key === "Escape") {
                show(false);
            }
        });
        document.getElementById("nav-tree").addEventListener("click", function (event) {
            if (event.target.closest("a[href]:not([href^='javascript'])")) {
                show(false);
            }
        });
        show(false);
        title.parentNode.insertBefore(button, title);
    }

    // The search field has a text of its own in it, which readers of the screen take for its value.
    function nameSearch() {
        var field = document.getElementById("MSearchField");
        if (field) {
            field.setAttribute("aria-label", "Search");
        }
    }

    // Operators that copy, convert or allocate objects, and deleted members, say nothing that the
    // description of the class does not say: their rows are shown on demand.
    var folds = /operator (new|delete|[A-Z]\w+ ?\*)|operator=\s*\((const )?[A-Z]\w* ?&|=\s?delete\s*$/;

    function rowsOf(name) {
        var rows = [name];
        for (var row = name.nextElementSibling; row && /^(memdesc|separator):/.test(row.className);
             row = row.nextElementSibling) {
            rows.push(row);
        }
        return rows;
    }

    function foldOperators() {
        document.querySelectorAll("table.memberdecls").forEach(function (table) {
            var folded = [];
            table.querySelectorAll("tr[class^='memitem:']").forEach(function (row) {
                if (folds.test(row.textContent.replace(/\u00a0/g, " "))) {
                    folded = folded.concat([rowsOf(row)]);
                }
            });
            if (folded.length < 2) {
                return;
            }
            var row = table.insertRow(-1);
            row.className = "unfold";
            var cell = row.insertCell(0);
            cell.colSpan = 2;
            var button = document.createElement("button");
            button.type = "button";
            button.textContent = "Show " + folded.length + " members that copy, convert, allocate or are deleted";
            cell.appendChild(button);
            folded.forEach(function (rows) {
                rows.forEach(function (each) { each.hidden = true; });
            });
            button.addEventListener("click", function () {
                folded.forEach(function (rows) {
                    rows.forEach(function (each) { each.hidden = false; });
                });
                row.remove();
            });
        });
    }

    document.addEventListener("DOMContentLoaded", function () {
        addMenu();
        nameSearch();
        foldOperators();
    });
})();
