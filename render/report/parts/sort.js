"use strict";
// Sorts the tables of a report by the column whose head is pressed. Without it they stay as they are.
(function () {
  // The number that a text begins with; NaN where it begins with none.
  function numberOf(text) {
    return parseFloat(text.replace(/,/g, "").replace(/^\u2212/, "-"));
  }

  var words = new Intl.Collator("en", { numeric: true });

  function compare(a, b, numbers) {
    if (!numbers) {
      return words.compare(a, b);
    }
    var x = numberOf(a);
    var y = numberOf(b);
    if (isNaN(x) || isNaN(y)) {
      return isNaN(x) - isNaN(y); // what has no value stays behind
    }
    return x - y;
  }

  // The rows of a table and of what is folded away below it are one list.
  function sort(box, head, column) {
    var bodies = Array.prototype.slice.call(box.querySelectorAll("tbody"));
    var sizes = bodies.map(function (body) { return body.rows.length; });
    var rows = Array.prototype.slice.call(box.querySelectorAll("tbody tr"));
    var numbers = head.className === "number";
    var before = head.getAttribute("aria-sort");
    // What a reader looks for first: the largest number, the first name.
    var down = before === null ? numbers : before === "ascending";
    rows.sort(function (a, b) {
      var x = a.cells[column].textContent;
      var y = b.cells[column].textContent;
      var missing = numbers && (isNaN(numberOf(x)) || isNaN(numberOf(y)));
      return compare(x, y, numbers) * (down && !missing ? -1 : 1);
    });
    rows.forEach(function (row) { row.remove(); });
    bodies.forEach(function (body, i) {
      rows.splice(0, sizes[i]).forEach(function (row) { body.appendChild(row); });
    });
    head.parentNode.querySelectorAll("th").forEach(function (other) {
      other.removeAttribute("aria-sort");
    });
    head.setAttribute("aria-sort", down ? "descending" : "ascending");
  }

  document.querySelectorAll(".sortable").forEach(function (box) {
    box.querySelectorAll(":scope > table thead th").forEach(function (head, column) {
      var button = document.createElement("button");
      button.type = "button";
      button.textContent = head.textContent;
      button.addEventListener("click", function () { sort(box, head, column); });
      head.textContent = "";
      head.appendChild(button);
    });
  });
})();
