// A report in Chromium, opened from a file: what it says on the console, whether axe finds barriers, and
// whether it can be used by keyboard, at any width, with large letters, and without its script.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import path from "node:path";
import { after, before, test } from "node:test";
import { pathToFileURL } from "node:url";

const require = createRequire(path.join(process.env.MARROWFIN_MODULES, "package.json"));
const { chromium } = require("playwright-core");
const axeSource = readFileSync(require.resolve("axe-core/axe.min.js"), "utf8");

const folder = mkdtempSync(path.join(tmpdir(), "marrowfin-report-test-"));
let browser;

function file(name) {
  return path.join(folder, name);
}

// The program of a name in the PATH; fails where there is none.
function programOf(name) {
  return execFileSync("/bin/sh", ["-c", `command -v ${name}`], { encoding: "utf8" }).trim();
}

function report(name, ...flags) {
  execFileSync(process.env.MARROWFIN_TRACE, ["report", file("run.trace"), ...flags, "-o", file(name), "--force"]);
  return file(name);
}

before(async () => {
  execFileSync(process.env.MARROWFIN_TRACE, [
    "synth", "-o", file("run.trace"), "--records", "20000", "-c", "2", "-d", "2", "-p", "2",
  ]);
  browser = await chromium.launch({
    executablePath: programOf("chromium"),
    chromiumSandbox: process.getuid() !== 0,
  });
});

after(async () => {
  await browser?.close();
  rmSync(folder, { recursive: true, force: true });
});

// Opens a page, and keeps everything that a browser complains of.
async function open(name, options = {}) {
  const context = await browser.newContext({ viewport: { width: 1060, height: 800 }, ...options });
  const page = await context.newPage();
  page.complaints = [];
  page.on("console", (message) => page.complaints.push(`console: ${message.text()}`));
  page.on("pageerror", (error) => page.complaints.push(`error: ${error.message}`));
  page.on("request", (request) => {
    // What stands in the page itself is asked of nobody.
    if (request.url() !== pathToFileURL(name).href && !request.url().startsWith("data:")) {
      page.complaints.push(`request: ${request.url()}`);
    }
  });
  await page.goto(pathToFileURL(name).href);
  return page;
}

async function barriers(page) {
  await page.evaluate(axeSource);
  const found = await page.evaluate(() => window.axe.run());
  return found.violations.map((v) => `${v.id}: ${v.nodes.map((n) => n.target.join(" ")).join(", ")}`);
}

// What the first column of a table reads, folded rows behind the others.
function names(page, table) {
  return page.locator(`${table} tbody th`).allTextContents();
}

function values(page, table, column) {
  return page.locator(`${table} tbody td:nth-child(${column})`).allTextContents();
}

for (const theme of ["light", "dark", "print"]) {
  test(`no message and no barrier in the ${theme} theme`, async () => {
    const page = await open(report(`${theme}.html`, "--theme", theme));
    assert.deepEqual(await barriers(page), []);
    for (const summary of await page.locator("summary").all()) {
      await summary.click();
    }
    assert.deepEqual(await barriers(page), []);
    assert.deepEqual(page.complaints, []);
    await page.context().close();
  });
}

// All sections that a page can have: packets and causes that are told, verdicts of all kinds, and what
// changed from another run.
for (const theme of ["light", "dark"]) {
  test(`no message and no barrier where all sections are there, in the ${theme} theme`, async () => {
    const sim = path.join(path.dirname(process.env.MARROWFIN_TRACE), "marrowfin-sim");
    for (const [name, size] of [["told", "12"], ["other", "14"]]) {
      execFileSync(sim, [
        "-program", "spmv", "-size", size, "-companion", "true", "-outFilename", file(`${name}.trace`),
      ]);
    }
    writeFileSync(
      file("rules.toml"),
      '[[rule]]\nname = "holds"\nmeasure = "fires"\nat_least = 1\n' +
        '[[rule]]\nname = "fails"\ndescription = "Why & <who>"\nmeasure = "distance.max"\nat_most = 0\n' +
        '[[rule]]\nname = "untold"\nmeasure = "fires"\nthread = 99\ncycles = "99999999:"\nat_most = 1\n' +
        '[[rule]]\nname = "skipped"\nmeasure = "fires"\nat_most = 1\nskip = "for now"\n',
    );
    execFileSync(process.env.MARROWFIN_TRACE, [
      "report", file("told.trace"), "--against", file("other.trace"), "--expect", file("rules.toml"),
      "--theme", theme, "-o", file(`all-${theme}.html`), "--force",
    ]);
    const page = await open(file(`all-${theme}.html`));
    for (const section of ["verdicts", "difference", "run", "where", "when", "causes", "faults", "made"]) {
      assert.equal(await page.locator(`section#${section}`).count(), 1, section);
    }
    assert.equal(await page.locator("section#when svg").count(), 2, "timeline and latency");
    assert.equal(await page.locator("section#causes svg").count(), 1);
    assert.equal(await page.locator("section#difference svg").count(), 1);
    assert.deepEqual(await barriers(page), []);
    for (const summary of await page.locator("summary").all()) {
      await summary.click();
    }
    assert.deepEqual(await barriers(page), []);
    assert.deepEqual(page.complaints, []);
    await page.context().close();
  });
}

test("a script that is not the page's own is refused, and that is seen", async () => {
  const html = readFileSync(report("own.html"), "utf8");
  writeFileSync(file("other.html"), html.replace("</script>", "\n</script>"));
  const page = await open(file("other.html"));
  assert.match(page.complaints.join("\n"), /Content Security Policy/);
  assert.equal(await page.locator("th button").count(), 0);
  await page.context().close();
});

test("a picture from elsewhere is refused, and that is seen", async () => {
  const html = readFileSync(report("own.html"), "utf8");
  writeFileSync(file("other.html"), html.replace("</main>", '<img alt="x" src="x.png"></main>'));
  const page = await open(file("other.html"));
  assert.match(page.complaints.join("\n"), /Content Security Policy/);
  await page.context().close();
});

test("barriers that are planted are found", async () => {
  const html = readFileSync(report("own.html"), "utf8");
  for (const [rule, from, to] of [
    ["html-has-lang", '<html lang="en">', "<html>"],
    ["color-contrast", "--ink: #1a1a1a", "--ink: #dddddd"],
    ["svg-img-alt", /aria-labelledby="[^"]*"([^]*?)<title id=[^<]*<\/title>/, "$1"],
    ["heading-order", "<h2>Threads</h2>", "<h5>Threads</h5>"],
  ]) {
    const planted = html.replace(from, to);
    assert.notEqual(planted, html, rule);
    writeFileSync(file("planted.html"), planted);
    const page = await open(file("planted.html"));
    assert.match((await barriers(page)).join("\n"), new RegExp(`^${rule}: `, "m"));
    await page.context().close();
  }
});

test("tables are sorted by keyboard, those of two parts as one", async () => {
  const page = await open(report("sorted.html"));
  const table = "#table-pes";
  const fires = async () =>
    (await values(page, table, 2)).map((text) => Number(text.replaceAll(",", "")));
  const ascending = [...(await fires())].sort((a, b) => a - b);
  const descending = [...ascending].reverse();
  const first = await names(page, table);
  assert.equal(first.length, 64);
  assert.notEqual(ascending[0], descending[0]);
  assert.deepEqual(await fires(), descending);

  // To the first head by the key that goes from one to the next.
  const head = page.locator(`${table} thead th`).first();
  for (let i = 0; i < 100 && !(await head.locator("button:focus").count()); ++i) {
    await page.keyboard.press("Tab");
  }
  await page.keyboard.press("Enter");
  assert.equal(await head.getAttribute("aria-sort"), "ascending");
  const byName = await names(page, table);
  assert.deepEqual(byName.slice(0, 3), ["(0, 0)", "(0, 1)", "(0, 2)"]);
  assert.deepEqual([...byName].sort(), [...first].sort());
  await page.keyboard.press("Space");
  assert.equal(await head.getAttribute("aria-sort"), "descending");
  assert.deepEqual(await names(page, table), [...byName].reverse());

  await page.keyboard.press("Tab");
  await page.keyboard.press("Enter");
  assert.equal(await page.locator(`${table} [aria-sort]`).count(), 1);
  assert.deepEqual(await fires(), descending);
  await page.keyboard.press("Enter");
  assert.deepEqual(await fires(), ascending);
  assert.deepEqual(page.complaints, []);
  await page.context().close();
});

test("without a script the page is whole, and has nothing that does nothing", async () => {
  const page = await open(report("plain.html"), { javaScriptEnabled: false });
  assert.equal(await page.locator("button").count(), 0);
  const rest = page.locator("#table-pes details table");
  assert.equal(await rest.isVisible(), false);
  await page.locator("#table-pes summary").click();
  assert.equal(await rest.isVisible(), true);
  assert.deepEqual(page.complaints, []);
  await page.context().close();
});

test("where there is room, pictures of places stand side by side", async () => {
  const name = report("beside.html");
  for (const [width, beside] of [[700, false], [760, true], [1060, true], [1600, true]]) {
    const page = await open(name, { viewport: { width, height: 800 } });
    const boxOf = (id) => page.locator(id).boundingBox();
    const [heat, links, pes] = [await boxOf("#heat"), await boxOf("#links"), await boxOf("#table-pes")];
    assert.equal(heat.y === links.y && heat.x + heat.width < links.x, beside, `at ${width}`);
    assert.ok(pes.y >= heat.y + heat.height, `the table below its picture, at ${width}`);
    await page.context().close();
  }
});

test("the map behind a chain is drawn", async () => {
  const page = await open(report("why.html"));
  const image = page.locator("#why image").first();
  assert.ok((await image.boundingBox()).width > 100);
  // Of all that a page may hold its policy lets in what stands in it alone.
  const loaded = await image.evaluate(async (element) => {
    const picture = new Image();
    picture.src = element.getAttribute("href") ?? element.getAttribute("xlink:href");
    await picture.decode();
    return picture.naturalWidth;
  });
  assert.ok(loaded > 1);
  assert.deepEqual(page.complaints, []);
  await page.context().close();
});

test("no width and no size of letters makes a reader scroll sideways", async () => {
  const name = report("wide.html");
  for (const width of [320, 700, 1060, 1600]) {
    for (const letters of ["100%", "200%"]) {
      const page = await open(name, { viewport: { width, height: 800 } });
      const before = await page.evaluate(() => document.body.scrollHeight);
      await page.addStyleTag({ content: `html { font-size: ${letters}; }` });
      const size = await page.evaluate(() => [
        document.documentElement.scrollWidth, document.documentElement.clientWidth,
        document.body.scrollHeight,
      ]);
      // A page of 320 pixels with letters twice as large would be one of 160.
      if (width > 320 || letters === "100%") {
        assert.ok(size[0] <= size[1], `${size[0]} of ${size[1]} at ${width}, ${letters}`);
      }
      assert.equal(size[2] > before, letters === "200%", `height at ${width}, ${letters}`);
      await page.context().close();
    }
  }
});

test("on paper tables are short and say where their rows are", async () => {
  const page = await open(report("paper.html"));
  const rows = () => page.locator("#table-pes tbody tr:visible").count();
  const note = page.locator("#table-pes .paper");
  assert.equal(await rows(), 10);
  assert.equal(await note.isVisible(), false);
  await page.emulateMedia({ media: "print" });
  assert.equal(await rows(), 5);
  assert.match(await note.textContent(), /^The first 5 of 64; all: marrowfin-trace stats /);
  assert.equal(await note.isVisible(), true);
  assert.equal(await page.locator("#table-pes summary").isVisible(), false);
  await page.context().close();
});
