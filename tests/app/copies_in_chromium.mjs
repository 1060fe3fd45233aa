// Shows frames of a movie and those of the clips that they were copied from in Chromium, and prints what came of it:
// {wrong: [[frame, clip, frame of the clip]...], looked: frames compared, different: pictures that differ from one another}.
//   node copies_in_chromium.mjs CHROMIUM FOLDER FPS    with movie.mp4, the clips, and jumps.json, an array like `wrong`, in FOLDER
import fs from 'node:fs';
import http from 'node:http';
import path from 'node:path';
import { Browser } from '../studio/browser/driver.mjs';

const [chromium, folder, fps] = process.argv.slice(2);
const jumps = JSON.parse(fs.readFileSync(path.join(folder, 'jumps.json')));
const files = new Set(['movie.mp4', ...jumps.map(([, clip]) => clip)]);
const server = http.createServer((request, response) => {
  const name = request.url.slice(1);
  if (files.has(name)) response.end(fs.readFileSync(path.join(folder, name)));
  else { response.setHeader('Content-Type', 'text/html'); response.end('<!doctype html><title>copies</title>'); }
});
await new Promise((resolve) => { server.listen(0, '127.0.0.1', resolve); });
const browser = new Browser(chromium, folder);
try {
  const page = await browser.page(640, 480, 'light');
  await page.goto('http://127.0.0.1:' + server.address().port + '/');
  console.log(JSON.stringify(await page.evaluate(async (names, wanted, rate) => {
    const open = async (name) => {
      const video = document.createElement('video');
      video.muted = true;
      video.preload = 'auto';
      // A server of files alone has no jumps.
      video.src = URL.createObjectURL(await (await fetch(name)).blob());
      await new Promise((done, failed) => {
        video.onloadeddata = done;
        video.onerror = () => failed(new Error(name + ': ' + video.error.message));
      });
      return video;
    };
    const pixels = async (video, frame) => {
      await new Promise((done, failed) => {
        video.onerror = () => failed(new Error(video.src + ': ' + video.error.message));
        video.onseeked = done;
        video.currentTime = (frame + 0.5) / rate;
      });
      const canvas = document.createElement('canvas');
      canvas.width = video.videoWidth;
      canvas.height = video.videoHeight;
      const pen = canvas.getContext('2d');
      pen.drawImage(video, 0, 0);
      return pen.getImageData(0, 0, canvas.width, canvas.height).data;
    };
    const videos = {};
    for (const name of names) videos[name] = await open(name);
    const wrong = [];
    const seen = new Set();
    for (const [frame, clip, own] of wanted) {
      const here = await pixels(videos['movie.mp4'], frame);
      const there = await pixels(videos[clip], own);
      if (here.length !== there.length || here.some((value, i) => value !== there[i])) wrong.push([frame, clip, own]);
      seen.add(here.join());
    }
    return { wrong, looked: wanted.length, different: seen.size };
  }, [...files], jumps, Number(fps))));
} finally {
  await browser.close();
  server.close();
}
