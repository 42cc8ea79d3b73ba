// What is measured from within the page, where no driver stands between the hand and the clock.

/** Puts `window.bench` into a page. */
export async function fromInside(page) {
  await page.evaluate(() => {
    const frame = () => new Promise((resolve) => requestAnimationFrame(resolve));
    const soon = () =>
      new Promise((resolve) => {
        const { port1, port2 } = new MessageChannel();
        port1.onmessage = resolve;
        port2.postMessage(0);
      });

    /** Milliseconds until something holds. */
    async function until(holds, began = performance.now()) {
      while (!holds() && performance.now() - began < 10_000) {
        await soon();
      }
      return performance.now() - began;
    }

    const point = (element, type, x, y, more = {}) =>
      element.dispatchEvent(
        new PointerEvent(type, { clientX: x, clientY: y, bubbles: true, cancelable: true, pointerId: 1, isPrimary: true, button: 0, buttons: 1, ...more }),
      );

    // A pointer that does not exist cannot be held on to.
    Element.prototype.setPointerCapture = () => undefined;

    function* numbers(seed) {
      for (let last = seed; ; yield last / 2147483648) {
        last = (last * 1103515245 + 12345) % 2147483648;
      }
    }

    const observed = () => window.explorer.state;
    const timeline = () => document.querySelector('.timeline-area');
    const floorplan = () => document.querySelector('.floorplan-canvas:last-of-type') ?? document.querySelector('.floorplan-box canvas');

    /** Moments at random by the ruler. */
    async function scrub(count) {
      const random = numbers(5);
      const seen = [];
      for (let i = 0; i < count; ++i) {
        const box = timeline().getBoundingClientRect();
        const before = observed();
        const x = box.left + random.next().value * box.width;
        const began = performance.now();
        point(timeline(), 'pointerdown', x, box.top + 40);
        point(timeline(), 'pointerup', x, box.top + 40, { buttons: 0 });
        const known = await until(() => observed().step !== before.step, began);
        const drawn = await until(() => observed().draws > before.draws, began);
        const { step } = observed();
        await window.explorer.idle();
        seen.push({ known, drawn, older: observed().step !== step });
      }
      return seen;
    }

    /** The median of what the page's log tells of a question. */
    function asked(name) {
      const times = window.explorer.log.filter((one) => one.ask === name).map((one) => one.milliseconds);
      return times.sort((a, b) => a - b)[Math.floor(times.length / 2)];
    }

    /** The wheel over the strips: how long until data of the new window came, and empty frames on the way. */
    async function wheels(count) {
      const random = numbers(7);
      const moves = [];
      for (let i = 0; i < count; ++i) {
        const area = timeline();
        const box = area.getBoundingClientRect();
        const entries = new Set(window.explorer.log);
        const began = performance.now();
        const zoom = { deltaY: i % 6 === 5 ? 4000 : -400, ctrlKey: true };
        area.dispatchEvent(
          new WheelEvent('wheel', { clientX: box.left + random.next().value * box.width, clientY: box.top + 90, bubbles: true, cancelable: true, ...zoom }),
        );
        const came = () => window.explorer.log.some((one) => one.ask === 'activity' && !entries.has(one));
        let data;
        let blank = 0;
        for (let frames = 0; frames < 40 && data === undefined; ++frames) {
          await frame();
          blank += isBlank() ? 1 : 0;
          data = came() ? performance.now() - began : undefined;
        }
        await window.explorer.idle();
        if (data !== undefined) {
          moves.push({ data, blank });
        }
      }
      return moves;
    }

    const small = Object.assign(document.createElement('canvas'), { width: 64, height: 16 });
    const glass = small.getContext('2d', { willReadFrequently: true });

    /** Whether the strips are of one colour everywhere: nothing is drawn there. */
    function isBlank() {
      const canvas = timeline().querySelector('canvas');
      const { width, height } = canvas;
      glass.clearRect(0, 0, 64, 16);
      glass.drawImage(canvas, 0, height / 4, width, height / 2, 0, 0, 64, 16);
      const colours = new Uint32Array(glass.getImageData(0, 0, 64, 16).data.buffer);
      return colours.every((colour) => colour === colours[0]);
    }

    /** Jumps between the top and the middle of the list. */
    async function jumps(count) {
      const scroller = document.querySelector('.virtual-list');
      const first = () => [...document.querySelectorAll('.virtual-row')].map((row) => row.innerText.trim());
      const times = [];
      for (let i = 0; i < count; ++i) {
        const before = first().join();
        const began = performance.now();
        scroller.scrollTop = ((scroller.scrollHeight - scroller.clientHeight) * (i + 3)) / (count + 5);
        times.push(
          await until(() => {
            const rows = first();
            return rows.join() !== before && rows.length > 3 && rows.every((text) => /\d/.test(text));
          }, began),
        );
        await window.explorer.idle();
      }
      return times;
    }

    /** A hand that pans, moving once a frame: pictures a second. */
    async function pan(seconds) {
      const area = floorplan();
      const box = area.getBoundingClientRect();
      const [x, y] = [box.left + box.width / 2, box.top + box.height / 2];
      point(area, 'pointerdown', x, y);
      point(area, 'pointermove', x + 10, y);
      await frame();
      const { draws } = observed();
      const began = performance.now();
      for (let i = 0; performance.now() - began < 1000 * seconds; ++i) {
        point(area, 'pointermove', x + 10 + 40 * Math.sin(i / 10), y + 40 * Math.cos(i / 10));
        await frame();
        finish();
      }
      const passed = (performance.now() - began) / 1000;
      const frames = (observed().draws - draws) / passed;
      point(area, 'pointerup', x, y, { buttons: 0 });
      return frames;
    }

    // Until the picture is really there: a driver in software draws later.
    function finish() {
      const gl = document.querySelector('canvas').getContext('webgl2');
      gl.readPixels(0, 0, 1, 1, gl.RGBA, gl.UNSIGNED_BYTE, new Uint8Array(4));
    }

    /** The wheel over the floorplan. */
    async function zoom() {
      const area = floorplan();
      const box = area.getBoundingClientRect();
      const { draws } = observed();
      const began = performance.now();
      for (let i = 0; i < 60; ++i) {
        area.dispatchEvent(
          new WheelEvent('wheel', { clientX: box.left + box.width / 2, clientY: box.top + box.height / 2, deltaY: -60, bubbles: true, cancelable: true }),
        );
        await frame();
        finish();
      }
      const passed = (performance.now() - began) / 1000;
      const frames = (observed().draws - draws) / passed;
      await window.explorer.idle();
      return { frames, zoom: observed().zoom };
    }

    function driver() {
      const gl = document.createElement('canvas').getContext('webgl2');
      const extension = gl.getExtension('WEBGL_debug_renderer_info');
      return gl.getParameter(extension === null ? gl.RENDERER : extension.UNMASKED_RENDERER_WEBGL);
    }

    window.bench = { asked, scrub, timeline: wheels, jumps, pan, zoom, driver };
  });
}
