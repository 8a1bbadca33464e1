// Makes a picture of a page of zel-frames report: node picture.mjs PAGE FILE.png WIDTH HEIGHT
import { writeFileSync } from 'node:fs';
import { resolve } from 'node:path';
import { pathToFileURL } from 'node:url';

import { Browser } from './browser.mjs';

const [page, file, width, height] = process.argv.slice(2);
const browser = new Browser();
try {
  await browser.open_page();
  await browser.size(Number(width), Number(height));
  await browser.open(pathToFileURL(resolve(page)).href, 'report !== null');
  writeFileSync(file, await browser.screenshot());
} finally {
  await browser.close();
}
