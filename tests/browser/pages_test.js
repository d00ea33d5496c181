// Every page: valid HTML, usable by everybody, and nothing from elsewhere.
'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const {after, before, test} = require('node:test');
const {HtmlValidate} = require('html-validate');
const {Site, kind, picture} = require('./site');

const AXE = require.resolve('axe-core/axe.min.js');
const PASSWORD = 'open sesame';
const SHOTS = process.env.SCREENSHOTS;  // a folder, to look at the pages
const validator = new HtmlValidate({extends: ['html-validate:standard']});
let site;
let pages;

// A text with everything that could break a page.
const README = `# Our holidays
### A heading that skips a level
#
# ![](dot.png)
[](https://elsewhere.test/) [up](../x) [script](javascript:alert(1)) ![picture](dot.png)
![elsewhere](https://elsewhere.test/a.png) ![ ](dot.png) ![a ![b](dot.png) [c](d)](dot.png)
<script>alert(1)</script> <img src=x onerror=alert(1)> [](*)* &#0; &nosuch; \u202e <https://h.test/?a=b&c>

| a | |
|---|---|
| b | <i> |

${'> '.repeat(100)}deep

${'- '.repeat(100)}deep

0. zero

~~old~~ **bold *both** or* \`code\`

    <code>
`;

before(async () => {
  site = await Site.start(process.env.BUILD);
  site.shell(`
    mkdir -p /tmp/album/{summer,empty}
    printf 'first line\\n' > /tmp/album/notes.txt
    base64 -d > /tmp/album/dot.png
    : > /tmp/album/sound.mp3
    : > /tmp/album/film.mp4
    : > "/tmp/album/$(printf 'a:b <i>&\\xe2\\x80\\xae\\x01\\xff')"
    seq 100 | sed 's|.*|/tmp/album/summer/photo &.jpg|' | tr '\\n' '\\0' | xargs -0 touch
    mkdir /tmp/album/readme
    base64 -d <<< '${Buffer.from(README).toString('base64')}' > /tmp/album/readme/README.md
    chown -R alice /tmp/album
    chmod -R a+rX /tmp/album
    mkdir -m 0777 /tmp/inbox`,
  'iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg==');
  const colours = {beach: [240, 200, 90], sea: [30, 110, 220], 'a wood <i>&': [20, 170, 60]};
  for (const [name, colour] of Object.entries(colours)) {
    site.write(`/tmp/album/trip/${name}.png`, picture(name === 'sea' ? 300 : 800, 600, colour));
  }
  site.write('/tmp/album/trip/broken.jpg', 'x');
  site.write('/tmp/album/trip/notes.txt', 'x');
  site.write('/tmp/album/trip/Day 2/x', 'x');
  const open = site.share('/tmp/album', ['--title', 'Holidays']);
  const locked = site.share('/tmp/album', ['--password-stdin'], `${PASSWORD}\n`);
  const users = site.share('/tmp/album', ['--user', 'bob']);
  const limited = site.share('/tmp/album', ['--uses', '1']);
  const drop = site.share('/tmp/inbox', ['--drop', '--max-bytes', '2G', '--max-files', '50']);
  const usedUp = site.share('/tmp/album', ['--uses', '1']);
  await fetch(`${site.base}${usedUp}/`, {method: 'POST', redirect: 'manual'});
  const early = site.share('/tmp/album',
      ['--announce', '--start', '2099-12-31 12:00', '--expire', 'never']);
  pages = [
    ['login', locked], ['login-user', users], ['open', limited], ['used-up', usedUp],
    ['missing', '/sharing/nothinghere'], ['early', early], ['folder', `${open}/`],
    ['folder-long', `${open}/summer/?sort=size&order=desc`],
    ['folder-search', `${open}/summer/?q=12`],
    ['folder-below', `${open}/?q=12&below`], ['folder-empty', `${open}/empty/`],
    ['folder-readme', `${open}/readme/`],
    ['folder-grid', `${open}/trip/?view=grid`], ['file-between', `${open}/trip/beach.png?view=grid`],
    ['file-text', `${open}/notes.txt?view`], ['file-picture', `${open}/dot.png?view`],
    ['file-sound', `${open}/sound.mp3?view`], ['file-film', `${open}/film.mp4?view`],
    ['error', `${open}/%zz`],
    ['drop', `${drop}/`], ['drop-sent', `${drop}/?sent=2`],
  ];
});
after(() => site?.stop());

async function check(page, name) {
  // A connection that is kept could be closed by the server at this moment.
  const source = await (await page.request.get(page.url(),
      {headers: {Accept: 'text/html', Connection: 'close'}})).text();
  const report = await validator.validateString(source);
  const messages = report.results.flatMap(result => result.messages);
  assert.deepEqual(messages.map(m => `${name}: ${m.line}: ${m.message}`), []);

  const elsewhere = page.requests.filter(url => !url.startsWith(site.base));
  assert.deepEqual(elsewhere, []);

  // The policy admits only the script of the page itself, so axe is run through the
  // debugger.
  const session = await page.context().newCDPSession(page);
  await session.send('Runtime.evaluate', {expression: fs.readFileSync(AXE, 'utf8')});
  const {result} = await session.send('Runtime.evaluate', {
    expression: 'axe.run().then(r => JSON.stringify(r.violations.map(' +
      'v => v.id + ": " + v.nodes.map(n => n.html).join(" "))))',
    awaitPromise: true,
  });
  assert.deepEqual(JSON.parse(result.value), [], name);
}

for (const scheme of ['light', 'dark']) {
  for (const locale of ['en-US', 'ja-JP']) {
    for (const width of [390, 1280]) {
      test(`pages in ${locale}, ${scheme}, ${width} pixels`, async () => {
        const page = await site.visitor(
            {colorScheme: scheme, locale, viewport: {width, height: 900}});
        for (const [name, address] of pages) {
          page.requests.length = 0;
          await page.goto(address);
          assert.equal(await kind(page), name.split('-')[0] === 'used' ? 'used-up'
              : name.split('-')[0]);
          assert.equal(await page.locator('html').getAttribute('lang'), locale.slice(0, 2));
          const wide = await page.evaluate(
              () => document.documentElement.scrollWidth > window.innerWidth);
          assert.equal(wide, false, `${name} scrolls sideways`);
          await check(page, name);
          if (name === 'folder-below') {  // once with the code
            await page.locator('summary').click();
            await check(page, `${name}, open`);
          }
          if (SHOTS) {
            await page.screenshot({
              path: path.join(SHOTS, `${name}-${locale}-${scheme}-${width}.png`),
              fullPage: true,
            });
          }
        }
      });
    }
  }
}

test('a page of 320 pixels does not scroll sideways, and prints', async () => {
  const page = await site.visitor({viewport: {width: 320, height: 600}});
  for (const [name, address] of pages) {
    await page.goto(address);
    assert.equal(await page.evaluate(
        () => document.documentElement.scrollWidth > window.innerWidth), false, name);
  }
  await page.emulateMedia({media: 'print'});
  assert.ok((await page.pdf()).length > 1000);
});

test('a listing of 100 files is under 60 KB', async () => {
  const [, address] = pages.find(([name]) => name === 'folder-long');
  const answer = await fetch(site.base + address);
  assert.ok((await answer.arrayBuffer()).byteLength < 60000);
});
