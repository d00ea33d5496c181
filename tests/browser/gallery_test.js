// A folder of pictures as a grid, in Chromium.
'use strict';

const assert = require('node:assert/strict');
const {after, before, test} = require('node:test');
const {Site, kind, picture} = require('./site');

const ROOT = '/tmp/album';
let site;
let link;

before(async () => {
  site = await Site.start(process.env.BUILD);
  for (const [name, colour] of [['a', [255, 0, 0]], ['b', [0, 255, 0]], ['c', [0, 0, 255]]]) {
    site.write(`${ROOT}/${name}.png`, picture(640, 480, colour));
  }
  site.write(`${ROOT}/broken.jpg`, 'no picture');
  site.write(`${ROOT}/notes.txt`, 'text');
  for (let i = 100; i < 160; ++i) {
    site.write(`${ROOT}/many/${i}.png`, picture(40, 30, [i, i, 255 - i]));
  }
  link = site.share(ROOT);
});
after(() => site?.stop());

const loaded = image => image.evaluate(i => i.decode().then(() => i.naturalWidth, () => 0));

test('the grid shows thumbnails, and a plain tile for what has none', async () => {
  const page = await site.visitor();
  await page.goto(`${link}/`);
  await page.getByRole('link', {name: 'Show as grid'}).click();
  assert.equal(await kind(page), 'folder');
  for (const name of ['a', 'b', 'c']) {
    const image = page.locator(`#grid img[src="./${name}.png?thumb"]`);
    assert.equal(await loaded(image), 320);
  }
  const broken = page.locator('#grid li', {hasText: 'broken.jpg'});
  assert.equal(await loaded(broken.locator('img')), 0);
  const box = await broken.locator('span').boundingBox();
  assert.ok(box.width > 100 && Math.abs(box.width - box.height) < 2);
  assert.equal(await page.locator('#grid li', {hasText: 'notes.txt'}).locator('img').count(), 0);
  await page.getByRole('link', {name: 'Show as list'}).click();
  assert.equal(await page.locator('#files').count(), 1);
});

test('sixty pictures that are asked for at once all arrive', async () => {
  const page = await site.visitor({viewport: {width: 1280, height: 4000}});
  await page.goto(`${link}/many/?view=grid`);
  const images = page.locator('#grid img');
  assert.equal(await images.count(), 60);
  for (let i = 0; i < 60; ++i) assert.equal(await loaded(images.nth(i)), 40);
});

test('the keyboard leads from the grid to a picture, the next ones, and back', async () => {
  const page = await site.visitor();
  await page.goto(`${link}/?view=grid&sort=name&order=desc`);
  const press = async text => {
    for (let tabs = 0; tabs < 40; ++tabs) {
      await page.keyboard.press('Tab');
      const at = await page.evaluate(() => [document.activeElement.innerText.trim(),
        getComputedStyle(document.activeElement).outlineStyle]);
      if (at[0] !== text) continue;
      assert.notEqual(at[1], 'none');
      await Promise.all([page.waitForEvent('load'), page.keyboard.press('Enter')]);
      return;
    }
    assert.fail(`${text} is not reached`);
  };
  await press('c.png');
  assert.equal(await kind(page), 'file');
  await press('Next picture');
  assert.match(page.url(), /broken.jpg/);
  await press('Next picture');
  assert.match(page.url(), /b.png/);
  assert.equal(await loaded(page.locator('main img')), 640);
  await press('Previous picture');
  assert.match(page.url(), /broken.jpg/);
  await press('album');
  assert.equal(await page.locator('#grid').count(), 1);
  assert.match(page.url(), /order=desc/);
});
